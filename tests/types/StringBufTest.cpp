#include <gtest/gtest.h>

#include <cfloat>
#include <charconv>
#include <cmath>
#include <cstring>
#include <random>
#include <string>
#include <type_traits>
#include <utility>

#include "qz/StringBuf.h"
#include "support/TestText.h"

namespace qz {
namespace {
using test::QZString;
using test::U8;
using test::W;

QZString Text(const StringBuf& s) { return QZString(s.ToString(), s.StrLen()); }
QZString Repeat(char c, size_t n) { return QZString(n, static_cast<QZChar>(c)); }

template <typename... Args>
std::string Num(Args... args) {
  StringBuf s;
  return U8(s.Append(args...).ToString());
}

// A character or an integer alone must not compile: with a default radix,
// Append('a') would write "97".
template <typename T, typename = void>
struct AppendsAlone : std::false_type {};
template <typename T>
struct AppendsAlone<T, std::void_t<decltype(std::declval<StringBuf&>().Append(std::declval<T>()))>>
    : std::true_type {};
static_assert(!AppendsAlone<char>::value && !AppendsAlone<int32_t>::value &&
                  !AppendsAlone<uint64_t>::value,
              "integer appends take an explicit radix");
static_assert(AppendsAlone<QZChar>::value && AppendsAlone<double>::value, "");

TEST(StringBuf, CapacityAndGrowth) {
  const uint64_t requested[] = {32, 0, 100, 100000}, capacity[] = {33, 33, 101, 16385},
                 growth[] = {32, 16, 100, 512};
  for (int i = 0; i < 4; ++i) {
    StringBuf s(requested[i]);
    EXPECT_EQ(capacity[i], s.Capacity());
    EXPECT_EQ(growth[i], s.Growth());
  }
  EXPECT_EQ(33u, StringBuf(static_cast<const QZChar*>(nullptr)).Capacity());
  EXPECT_EQ(42u, StringBuf(Repeat('x', 40).c_str()).Capacity());
  // Past the initial cap the text no longer fits, so the buffer grows at once.
  EXPECT_EQ(16386u + 32u, StringBuf(Repeat('y', 16385).c_str()).Capacity());

  // Additive growth whose step doubles, up to 512.
  StringBuf s;
  const uint64_t capacities[] = {73, 145, 145, 289};
  for (int i = 0; i < 4; ++i) {
    s.Append(Repeat('a', 40).c_str());
    EXPECT_EQ(capacities[i], s.Capacity()) << "append " << i;
  }
  for (int i = 0; i < 4; ++i) s.Append(Repeat('b', 600).c_str());
  EXPECT_EQ(512u, s.Growth());
  // Shortening never gives storage back.
  uint64_t cap = s.Capacity();
  s.SubString(1, 3).Trim().Clear();
  EXPECT_EQ(cap, s.Capacity());
  // Narrow text grows per character too.
  StringBuf narrow;
  EXPECT_EQ(66u, narrow.Append(std::string(32, 'n').c_str()).Append("\xE9").Capacity());
  EXPECT_EQ(0xE9, narrow.CharAt(32));
}

TEST(StringBuf, SelfAppendAndAssignmentSurviveReallocation) {
  // Exactly full, so every self-append below replaces the buffer.
  StringBuf full;
  full.Append(Repeat('q', 32).c_str());
  ASSERT_EQ(33u, full.Capacity());
  full.Append(full);
  full.Append(full.ToString());
  full.Append(full, 120, 8);
  EXPECT_EQ(Repeat('q', 136), Text(full));

  StringBuf s(QZ_TEXT("0123456"));
  s = s;
  s = s.ToString() + 3;
  EXPECT_EQ(W("3456"), Text(s));
  StringBuf withNul(QZ_TEXT("ab"));
  withNul.Append(static_cast<QZChar>(0)).Append(QZ_TEXT("cd"));
  s = withNul;  // assignment copies up to the first NUL
  EXPECT_EQ(W("ab"), Text(s));
}

TEST(StringBuf, EmbeddedNulAndRanges) {
  StringBuf withNul(QZ_TEXT("ab"));
  withNul.Append(static_cast<QZChar>(0)).Append(QZ_TEXT("cD"));
  EXPECT_EQ(W("AB") + QZString(1, 0) + W("cD"), Text(withNul.ToUpperCase()));

  StringBuf s;
  s.Append(withNul).Append(withNul, 3, 2).Append(withNul, 4, 2).Append(withNul, 1, UINT64_MAX);
  EXPECT_EQ(W("AB") + QZString(1, 0) + W("cDcD"), Text(s));
  EXPECT_EQ(0, s.CharAt(UINT64_MAX));
  EXPECT_EQ(-1, s.LastIndexOf(0));
  EXPECT_EQ(6, s.LastIndexOf('D'));

  // A counted text: exactly that many characters, NULs included; null adds nothing.
  StringBuf counted;
  counted.Append(QZ_TEXT("xy\0z!"), 4).Append(static_cast<const QZChar*>(nullptr), 3);
  EXPECT_EQ(W("xy") + QZString(1, 0) + W("z"), Text(counted));
}

TEST(StringBuf, NumberTexts) {
  EXPECT_EQ("0", Num(uint32_t{0}, 16));
  EXPECT_EQ("ff", Num(uint32_t{255}, 16));
  EXPECT_EQ("101", Num(uint32_t{5}, 1));
  EXPECT_EQ("z", Num(uint32_t{35}, -3));
  EXPECT_EQ("3w5e11264sgsf", Num(UINT64_MAX, 36));
  EXPECT_EQ("-2147483648", Num(INT32_MIN, 10));
  EXPECT_EQ("-ff", Num(int32_t{-255}, 16));

  const std::pair<double, const char*> fixed[] = {
      {3.5, "3.500000"}, {-0.25, "-0.250000"}, {1e20, "100000000000000000000.000000"},
      {-0.0, "-0.000000"}, {0.0078125, "0.007812"} /* tie: to even */, {INFINITY, "inf"}, {NAN, "nan"}};
  for (const auto& [value, text] : fixed) EXPECT_EQ(text, Num(value));

  // Any double formats as a C-runtime-free "%f" does, so every OS writes the same
  // text; -DBL_MAX alone is cut to the 316 that DBL_MAX needs.
  auto reference = [](double v) {
    char out[400];
    return std::string(out, std::to_chars(out, out + 400, v, std::chars_format::fixed, 6).ptr)
        .substr(0, 316);
  };
  EXPECT_EQ(reference(-DBL_MAX), Num(-DBL_MAX));
  std::mt19937_64 random(12345);
  for (int i = 0; i < 20000; ++i) {
    uint64_t bits = random();
    double v;
    std::memcpy(&v, &bits, sizeof v);
    if (i % 2 == 0) v = std::ldexp(static_cast<double>(bits >> 11), static_cast<int>(bits % 120) - 110);
    if (!std::isnan(v)) { ASSERT_EQ(reference(v), Num(v)) << "bits " << bits; }
  }
}

TEST(StringBuf, SubStringStartsWithEndsWith) {
  // Out-of-range requests leave the text as it is.
  const int64_t start[] = {2, 1, 4, 1, -1, 1};
  const uint64_t count[] = {0, 3, 0, 4, 1, UINT64_MAX};
  const char* expected[] = {"", "bcd", "abcd", "abcd", "abcd", "abcd"};
  for (int i = 0; i < 6; ++i) {
    StringBuf s(QZ_TEXT("abcd"));
    EXPECT_EQ(expected[i], U8(s.SubString(start[i], count[i]).ToString())) << i;
  }
  StringBuf s(QZ_TEXT("abcd"));
  EXPECT_TRUE(s.StartsWith(QZ_TEXT("bc"), 1));
  EXPECT_FALSE(s.StartsWith(QZ_TEXT("cd"), 3));
  EXPECT_FALSE(s.StartsWith(QZ_TEXT("a"), UINT64_MAX));
  EXPECT_FALSE(s.StartsWith(QZ_TEXT("")));
  EXPECT_TRUE(s.EndsWith(QZ_TEXT("cd")));
  EXPECT_FALSE(s.EndsWith(QZ_TEXT("abcde")));
}

TEST(StringBuf, TrimRemovesSystemWhiteSpace) {
  const QZChar blanks[] = {' ', '\t', 0}, nbsp[] = {0xA0, 'x', 0xA0, 0},
               wide[] = {0x3000, 0x2003, '\r', '\n', 'a', ' ', 'b', 0x3000, '\v', '\f', 0},
               kept[] = {0xFFFF, 0x85, 0x4E00, 0};  // not white space
  const QZString in[] = {blanks, nbsp, wide, kept}, out[] = {W(""), W("x"), W("a b"), kept};
  for (int i = 0; i < 4; ++i) {
    StringBuf s(in[i].c_str());
    EXPECT_EQ(out[i], Text(s.Trim())) << i;
  }
  // Leading removal stops at an embedded NUL.
  StringBuf n(QZ_TEXT("  "));
  n.Append(static_cast<QZChar>(0)).Append(QZ_TEXT(" y "));
  EXPECT_EQ(QZString(1, 0) + W(" y"), Text(n.Trim()));
}

}  // namespace
}  // namespace qz
