#include <gtest/gtest.h>

#include <string>

#include "support/TestText.h"
#include "types/Utf8.h"

namespace qz {
namespace {
using test::QZString;
using test::W;

QZString FromUtf8(const std::string& bytes, const QZChar* head = QZ_TEXT("")) {
  StringBuf out(head);
  AppendFromUtf8(out, bytes);
  return QZString(out.ToString(), out.StrLen());
}

const QZString kRepl(1, static_cast<QZChar>(0xFFFD));

TEST(Utf8, RoundTrip) {
  // a, e-acute, euro sign, U+1F600 as a surrogate pair, NUL, z
  const QZChar text[] = {'a', 0xE9, 0x20AC, 0xD83D, 0xDE00, 0, 'z'};
  const std::string bytes("a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\0z", 12);
  StringBuf s;
  for (QZChar c : text) s.Append(c);
  EXPECT_EQ(bytes, ToUtf8(s));
  EXPECT_EQ(QZString(text, 7), FromUtf8(bytes));
  EXPECT_EQ("", ToUtf8(static_cast<const QZChar*>(nullptr)));

  // A long text enlarges the string once, however many units it decodes to.
  std::string many;
  for (int i = 0; i < 3000; ++i) many += "a\xF0\x9F\x98\x80";
  StringBuf out(QZ_TEXT("head:"));
  const uint64_t growth = out.Growth();
  AppendFromUtf8(out, many);
  EXPECT_EQ(5u + 9000u, out.StrLen());
  EXPECT_EQ(out.StrLen() + 1 + growth, out.Capacity());
  EXPECT_EQ("head:" + many, ToUtf8(out));
}

TEST(Utf8, LoneSurrogatesAndIllFormedInputBecomeReplacements) {
  const QZChar lone[][3] = {{'a', 0xD800, 0}, {0xDC00, 'b', 0}, {0xDBFF, 'c', 0}, {0xD83D, 0xDE00, 0}};
  const char* expected[] = {"a\xEF\xBF\xBD", "\xEF\xBF\xBD" "b", "\xEF\xBF\xBD" "c"};
  for (int i = 0; i < 3; ++i) EXPECT_EQ(expected[i], ToUtf8(lone[i]));
  std::string out;
  AppendUtf8(out, lone[3], 1);  // a pair split by the count is a lone half too
  EXPECT_EQ("\xEF\xBF\xBD", out);

  // One replacement per broken part.
  EXPECT_EQ(kRepl + W("x"), FromUtf8("\x80x"));                 // stray continuation
  EXPECT_EQ(kRepl + kRepl, FromUtf8("\xC0\x80"));               // overlong NUL
  EXPECT_EQ(kRepl + kRepl + kRepl, FromUtf8("\xED\xA0\x80"));   // encoded surrogate
  EXPECT_EQ(kRepl + kRepl + kRepl + kRepl, FromUtf8("\xF4\x90\x80\x80"));  // > U+10FFFF
  EXPECT_EQ(kRepl, FromUtf8("\xE2\x82"));                       // truncated at the end
  EXPECT_EQ(kRepl + W("y"), FromUtf8("\xE2\x82y"));             // truncated, then text
}

}  // namespace
}  // namespace qz
