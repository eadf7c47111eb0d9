#include <gtest/gtest.h>

#include <cfloat>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <random>
#include <string>

#include "qz/StringBuf.h"
#include "support/TestText.h"

// Lets one test make the next array allocation fail; everything else goes to
// malloc and free as usual.
static bool gFailNextArrayNew = false;

void* operator new[](std::size_t size) {
  if (gFailNextArrayNew) {
    gFailNextArrayNew = false;
    throw std::bad_alloc();
  }
  if (void* p = std::malloc(size == 0 ? 1 : size)) return p;
  throw std::bad_alloc();
}
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }

namespace qz {
namespace {
using test::QZString;
using test::U8;
using test::W;

QZString Text(const StringBuf& s) { return QZString(s.ToString(), s.StrLen()); }
QZString Repeat(char c, size_t n) { return QZString(n, static_cast<QZChar>(c)); }

std::string Num(double v) {
  StringBuf s;
  s.Append(v);
  return U8(s.ToString());
}

// What printf("%f") gives, from a formatter that does not depend on the C runtime.
std::string Reference(double v) {
  char out[400];
  auto r = std::to_chars(out, out + sizeof out, v, std::chars_format::fixed, 6);
  return std::string(out, r.ptr);
}

TEST(StringBuf, ConstructorsSizeTheBuffer) {
  const uint64_t requested[] = {32, 0, 100, 100000}, capacity[] = {33, 33, 101, 16385},
                 growth[] = {32, 16, 100, 512};
  for (int i = 0; i < 4; ++i) {
    StringBuf s(requested[i]);
    EXPECT_EQ(capacity[i], s.Capacity());
    EXPECT_EQ(growth[i], s.Growth());
  }

  StringBuf null(static_cast<const QZChar*>(nullptr));
  EXPECT_EQ(33u, null.Capacity());
  EXPECT_EQ(0u, null.StrLen());
  StringBuf fromText(Repeat('x', 40).c_str());
  EXPECT_EQ(42u, fromText.Capacity());
  EXPECT_EQ(32u, fromText.Growth());
  // Past the initial cap the text no longer fits, so the buffer grows at once.
  QZString big = Repeat('y', 16385);
  StringBuf fromBig(big.c_str());
  EXPECT_EQ(16386u + 32u, fromBig.Capacity());
  EXPECT_EQ(64u, fromBig.Growth());
  EXPECT_EQ(big, Text(fromBig));
}

TEST(StringBuf, GrowthIsAdditiveWithDoublingIncrementCappedAt512) {
  StringBuf s;
  QZString forty = Repeat('a', 40);
  const uint64_t capacities[] = {73, 145, 145, 289};
  const uint64_t growths[] = {64, 128, 128, 256};
  for (int i = 0; i < 4; ++i) {
    s.Append(forty.c_str());
    EXPECT_EQ(capacities[i], s.Capacity()) << "append " << i;
    EXPECT_EQ(growths[i], s.Growth()) << "append " << i;
  }
  QZString chunk = Repeat('b', 600);
  for (int i = 0; i < 4; ++i) s.Append(chunk.c_str());
  EXPECT_EQ(512u, s.Growth());
  // Clearing and shortening never give storage back.
  uint64_t cap = s.Capacity();
  s.SubString(1, 3).Trim().Clear();
  s = QZ_TEXT("x");
  EXPECT_EQ(cap, s.Capacity());

  // Narrow text grows per character: 32 fit, the 33rd adds the growth of 32.
  StringBuf narrow;
  narrow.Append(std::string(32, 'n').c_str()).Append("\xE9");
  EXPECT_EQ(66u, narrow.Capacity());
  EXPECT_EQ(0xE9, narrow.CharAt(32));
}

TEST(StringBuf, AppendingFromItselfSurvivesGrowth) {
  StringBuf ab(QZ_TEXT("ab"));
  ab.Append(ab);
  EXPECT_EQ(W("abab"), Text(ab));

  // Exactly full, so every self-append below replaces the buffer.
  StringBuf full;
  full.Append(Repeat('q', 32).c_str());
  ASSERT_EQ(33u, full.Capacity());
  full.Append(full);
  EXPECT_EQ(Repeat('q', 64), Text(full));
  full.Append(full.ToString());
  EXPECT_EQ(Repeat('q', 128), Text(full));
  full.Append(full, 120, 8);
  EXPECT_EQ(Repeat('q', 136), Text(full));
  // Assigning a pointer into its own text keeps the tail.
  StringBuf tail(QZ_TEXT("0123456"));
  tail = tail.ToString() + 3;
  EXPECT_EQ(W("3456"), Text(tail));
}

TEST(StringBuf, AppendFormsAndTheirRangeChecks) {
  StringBuf withNul(QZ_TEXT("ab"));
  withNul.Append(static_cast<QZChar>(0)).Append(QZ_TEXT("cD"));
  EXPECT_EQ(5u, withNul.StrLen());
  withNul.ToUpperCase();
  EXPECT_EQ(W("AB") + QZString(1, 0) + W("cD"), Text(withNul));
  EXPECT_EQ(W("ab"), Text(withNul.ToLowercase()).substr(0, 2));

  StringBuf s;
  s.Append(withNul);  // by length, NUL included
  EXPECT_EQ(5u, s.StrLen());
  s.Append(withNul, 3, 2).Append(withNul, 3, 0).Append(withNul, 4, 2).Append(withNul, 1, UINT64_MAX);
  EXPECT_EQ(W("ab") + QZString(1, 0) + W("cDcD"), Text(s));
  EXPECT_EQ(0, s.CharAt(7));
  EXPECT_EQ(0, s.CharAt(UINT64_MAX));
}

TEST(StringBuf, IntegersWithClampedRadix) {
  auto num = [](auto value, int32_t radix) {
    StringBuf s;
    s.Append(value, radix);
    return U8(s.ToString());
  };
  EXPECT_EQ("0", num(uint32_t{0}, 16));
  EXPECT_EQ("ff", num(uint32_t{255}, 16));
  EXPECT_EQ("101", num(uint32_t{5}, 1));
  EXPECT_EQ("z", num(uint32_t{35}, -3));
  EXPECT_EQ("3w5e11264sgsf", num(UINT64_MAX, 36));
  EXPECT_EQ("-2147483648", num(INT32_MIN, 10));
  EXPECT_EQ("-ff", num(int32_t{-255}, 16));
  EXPECT_EQ(std::string(64, '1'), num(UINT64_MAX, 2));
}

TEST(StringBuf, DoublesInFixedNotationWithSixDecimals) {
  EXPECT_EQ("3.500000", Num(3.5));
  EXPECT_EQ("-0.250000", Num(-0.25));
  EXPECT_EQ("100000000000000000000.000000", Num(1e20));
  EXPECT_EQ("0.000000", Num(0.0));
  EXPECT_EQ("-0.000000", Num(-0.0));
  EXPECT_EQ("0.000000", Num(5e-324));
  EXPECT_EQ("0.007812", Num(0.0078125));  // exact tie: to even
  EXPECT_EQ("inf", Num(INFINITY));
  EXPECT_EQ("-inf", Num(-INFINITY));
  EXPECT_EQ("nan", Num(NAN));

  // Huge values print every digit; only the negative maximum needs the cut.
  std::string max = Reference(DBL_MAX);
  ASSERT_EQ(316u, max.size());
  EXPECT_EQ(max, Num(DBL_MAX));
  EXPECT_EQ(("-" + max).substr(0, 316), Num(-DBL_MAX));

  std::mt19937_64 random(12345);
  for (int i = 0; i < 20000; ++i) {
    uint64_t bits = random();
    double v;
    std::memcpy(&v, &bits, sizeof v);
    if (std::isnan(v)) continue;
    if (i % 2 == 0) v = std::ldexp(static_cast<double>(bits >> 11), static_cast<int>(bits % 120) - 110);
    std::string expected = Reference(v).substr(0, 316);
    ASSERT_EQ(expected, Num(v)) << "bits " << bits;
  }
}

TEST(StringBuf, SubStringAndSearches) {
  auto sub = [](int64_t start, uint64_t count) {
    StringBuf s(QZ_TEXT("abcd"));
    return U8(s.SubString(start, count).ToString());
  };
  EXPECT_EQ("", sub(2, 0));
  EXPECT_EQ("abcd", sub(4, 0));
  EXPECT_EQ("bcd", sub(1, 3));
  EXPECT_EQ("abcd", sub(1, 4));
  EXPECT_EQ("abcd", sub(-1, 1));
  EXPECT_EQ("abcd", sub(1, UINT64_MAX));
  StringBuf s(QZ_TEXT("abcd"));
  EXPECT_EQ(W("abcd"), Text(s.SubString(4)));
  EXPECT_EQ(W("cd"), Text(s.SubString(2)));

  StringBuf t(QZ_TEXT("abcd"));
  EXPECT_TRUE(t.StartsWith(QZ_TEXT("bc"), 1));
  EXPECT_FALSE(t.StartsWith(QZ_TEXT("cd"), 3));
  EXPECT_FALSE(t.StartsWith(QZ_TEXT("a"), UINT64_MAX));
  EXPECT_FALSE(t.StartsWith(QZ_TEXT("")));
  EXPECT_TRUE(t.EndsWith(QZ_TEXT("cd")));
  EXPECT_FALSE(t.EndsWith(QZ_TEXT("abcde")));

  StringBuf u(QZ_TEXT("abca"));
  EXPECT_EQ(3, u.LastIndexOf('a'));
  EXPECT_EQ(-1, u.LastIndexOf('z'));
  EXPECT_EQ(-1, u.LastIndexOf(0));
  StringBuf one(QZ_TEXT("x"));
  EXPECT_EQ(0, one.LastIndexOf('x'));
}

TEST(StringBuf, TrimRemovesSystemWhiteSpace) {
  StringBuf blanks(QZ_TEXT("  \t"));
  EXPECT_EQ(0u, blanks.Trim().StrLen());
  const QZChar nbsp[] = {0xA0, 'x', 0xA0, 0};
  StringBuf s(nbsp);
  EXPECT_EQ(W("x"), Text(s.Trim()));
  const QZChar wide[] = {0x3000, 0x2003, '\r', '\n', 'a', ' ', 'b', 0x3000, '\v', '\f', 0};
  StringBuf w(wide);
  EXPECT_EQ(W("a b"), Text(w.Trim()));
  // Not white space: U+FFFF, NEL, a letter beyond Latin-1.
  const QZChar kept[] = {0xFFFF, 0x85, 0x4E00, 0};
  StringBuf k(kept);
  EXPECT_EQ(QZString(kept), Text(k.Trim()));
  // Leading removal stops at an embedded NUL.
  StringBuf n(QZ_TEXT("  "));
  n.Append(static_cast<QZChar>(0)).Append(QZ_TEXT(" y "));
  EXPECT_EQ(QZString(1, 0) + W(" y"), Text(n.Trim()));
}

TEST(StringBuf, AssignmentCopiesUpToTheFirstNul) {
  StringBuf s(QZ_TEXT("keep"));
  s = s;
  s = s.ToString();
  EXPECT_EQ(W("keep"), Text(s));
  StringBuf other(QZ_TEXT("ab"));
  other.Append(static_cast<QZChar>(0)).Append(QZ_TEXT("cd"));
  s = other;
  EXPECT_EQ(W("ab"), Text(s));
  s = static_cast<const QZChar*>(nullptr);
  EXPECT_EQ(0u, s.StrLen());
}

TEST(StringBuf, FailedGrowthLeavesTheTextUnchanged) {
  StringBuf s(QZ_TEXT("abc"));
  s.Append(Repeat('d', 29).c_str());
  ASSERT_EQ(33u, s.Capacity());
  gFailNextArrayNew = true;
  EXPECT_THROW(s.Append(QZ_TEXT("e")), std::bad_alloc);
  gFailNextArrayNew = false;
  EXPECT_EQ(W("abc") + Repeat('d', 29), Text(s));
  EXPECT_EQ(33u, s.Capacity());
  s.Append(QZ_TEXT("e"));
  EXPECT_EQ(33u, s.StrLen());
}

}  // namespace
}  // namespace qz
