#include <gtest/gtest.h>

#include "qz/ExtendedKeys.h"
#include "support/TestText.h"

namespace qz {
namespace {
using test::QZString;
using test::W;

QZString Joined(const ExtendedKeys& keys, bool values) {
  QZString out;
  for (uint64_t i = 0; i < keys.Size(); ++i) {
    out += values ? keys.Get(i)->Value() : keys.Get(i)->Key();
    out += QZ_TEXT('|');
  }
  return out;
}

TEST(ExtendedKeysTest, OrdersByUnsignedCodeUnits) {
  ExtendedKeys keys;
  const QZChar high[] = {static_cast<QZChar>(0x8000), 0};  // negative as a signed 16-bit unit
  for (const char* k : {"b", "a", "ab", "B"}) keys.Add(W(k).c_str(), QZ_TEXT("v"));
  keys.Add(high, 1);
  keys.Add(QZ_TEXT("~"), 2);
  EXPECT_EQ(W("B|a|ab|b|~|") + high + QZ_TEXT('|'), Joined(keys, false));
  EXPECT_EQ(nullptr, keys.Get(keys.Size()));
  EXPECT_EQ(nullptr, ExtendedKeys().Get(0));
}

TEST(ExtendedKeysTest, LastAddWinsAndEmptyArgumentsAreIgnored) {
  ExtendedKeys keys;
  keys.Add(QZ_TEXT("k"), QZ_TEXT("x"));
  keys.Add(QZ_TEXT("m"), QZ_TEXT("y"));
  const ExtendedKey* other = keys.Get(1);
  keys.Add(QZ_TEXT("k"), 7);
  keys.Add(QZ_TEXT("k"), QZ_TEXT(""));
  keys.Add(QZ_TEXT("k"), static_cast<const QZChar*>(nullptr));
  keys.Add(QZ_TEXT(""), 1);
  keys.Add(nullptr, 1.0);
  ASSERT_EQ(2u, keys.Size());
  EXPECT_EQ(W("7"), keys.Get(0)->Value());
  EXPECT_TRUE(keys.Get(0)->IsNumeric());
  EXPECT_FALSE(keys.Get(1)->IsNumeric());
  EXPECT_EQ(other, keys.Get(1));  // other keys keep their objects
}

TEST(ExtendedKeysTest, FormatsNumbers) {
  ExtendedKeys keys;
  keys.Add(QZ_TEXT("a"), 0);
  keys.Add(QZ_TEXT("b"), -15);
  keys.Add(QZ_TEXT("c"), 2.0);
  keys.Add(QZ_TEXT("d"), -1.5e-7);
  keys.Add(QZ_TEXT("e"), 0.1f);
  keys.Add(QZ_TEXT("f"), -2147483647L - 1);
  EXPECT_EQ(W("0|-15|2.000000|-0.000000|0.100000|-2147483648|"), Joined(keys, true));
}

TEST(ExtendedKeysTest, CutsKeysAt2000AndTextsAt4000) {
  ExtendedKeys keys;
  const QZString k2000(2000, QZ_TEXT('k'));
  keys.Add((k2000 + W("first tail")).c_str(), QZ_TEXT("first"));
  keys.Add((k2000 + W("other tail")).c_str(), QZ_TEXT("second"));
  keys.Add(k2000.c_str(), QZ_TEXT("third"));
  ASSERT_EQ(1u, keys.Size());
  EXPECT_EQ(k2000, keys.Get(0)->Key());
  EXPECT_EQ(W("third"), keys.Get(0)->Value());

  const QZString v4000(4000, QZ_TEXT('v'));
  keys.Add(QZ_TEXT("exact"), v4000.c_str());
  keys.Add(QZ_TEXT("over"), (v4000 + QZ_TEXT('w')).c_str());
  EXPECT_EQ(v4000, keys.Get(0)->Value());
  EXPECT_EQ(v4000, keys.Get(2)->Value());
}

}  // namespace
}  // namespace qz
