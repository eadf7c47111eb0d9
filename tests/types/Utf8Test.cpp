#include <gtest/gtest.h>

#include <string>

#include "support/TestText.h"
#include "types/Utf8.h"

namespace qz {
namespace {
using test::QZString;
using test::W;

QZString FromUtf8(const std::string& bytes) {
  StringBuf out;
  AppendFromUtf8(out, bytes);
  return QZString(out.ToString(), out.StrLen());
}

const QZString kRepl(1, static_cast<QZChar>(0xFFFD));

TEST(Utf8, RoundTripsAsciiBmpAndSupplementaryCharacters) {
  // a, e-acute, euro sign, U+1F600 as a surrogate pair, z
  const QZChar text[] = {'a', 0xE9, 0x20AC, 0xD83D, 0xDE00, 'z', 0};
  std::string bytes = ToUtf8(text);
  EXPECT_EQ("a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80z", bytes);
  EXPECT_EQ(QZString(text), FromUtf8(bytes));
  EXPECT_EQ("", ToUtf8(static_cast<const QZChar*>(nullptr)));

  // Embedded NULs survive both directions.
  StringBuf s(QZ_TEXT("a"));
  s.Append(static_cast<QZChar>(0)).Append(QZ_TEXT("b"));
  EXPECT_EQ(std::string("a\0b", 3), ToUtf8(s));
  EXPECT_EQ(QZString(s.ToString(), 3), FromUtf8(std::string("a\0b", 3)));
}

TEST(Utf8, LoneSurrogatesBecomeReplacementCharacter) {
  const QZChar highAtEnd[] = {'a', 0xD800, 0};
  const QZChar lowAlone[] = {0xDC00, 'b', 0};
  const QZChar highThenText[] = {0xDBFF, 'c', 0};
  EXPECT_EQ("a\xEF\xBF\xBD", ToUtf8(highAtEnd));
  EXPECT_EQ("\xEF\xBF\xBD" "b", ToUtf8(lowAlone));
  EXPECT_EQ("\xEF\xBF\xBD" "c", ToUtf8(highThenText));
  // A pair split by the count is two halves, not a character.
  std::string out;
  const QZChar pair[] = {0xD83D, 0xDE00, 0};
  AppendUtf8(out, pair, 1);
  EXPECT_EQ("\xEF\xBF\xBD", out);
}

TEST(Utf8, IllFormedInputBecomesOneReplacementPerBrokenPart) {
  EXPECT_EQ(kRepl + W("x"), FromUtf8("\x80x"));                 // stray continuation
  EXPECT_EQ(kRepl + kRepl, FromUtf8("\xC0\x80"));               // overlong NUL
  EXPECT_EQ(kRepl + kRepl + kRepl, FromUtf8("\xE0\x80\x80"));   // overlong 3-byte
  EXPECT_EQ(kRepl + kRepl + kRepl, FromUtf8("\xED\xA0\x80"));   // encoded surrogate
  EXPECT_EQ(kRepl + kRepl + kRepl + kRepl, FromUtf8("\xF4\x90\x80\x80"));  // > U+10FFFF
  EXPECT_EQ(kRepl, FromUtf8("\xE2\x82"));                       // truncated at the end
  EXPECT_EQ(kRepl + W("y"), FromUtf8("\xE2\x82y"));             // truncated, then text
}

TEST(Utf8, LongTextAppendsAfterExistingContent) {
  // Longer than the converter's internal chunk, with pairs across its edges.
  std::string bytes;
  QZString expected = W("head:");
  for (int i = 0; i < 300; ++i) {
    bytes += "a\xF0\x9F\x98\x80";
    expected += W("a");
    expected.push_back(static_cast<QZChar>(0xD83D));
    expected.push_back(static_cast<QZChar>(0xDE00));
  }
  StringBuf out(QZ_TEXT("head:"));
  AppendFromUtf8(out, bytes);
  EXPECT_EQ(expected, QZString(out.ToString(), out.StrLen()));
  EXPECT_EQ(bytes, ToUtf8(out).substr(5));
}

}  // namespace
}  // namespace qz
