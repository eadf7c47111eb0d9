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
    out += (values ? keys.Get(i)->Value() : keys.Get(i)->Key()) + W("|");
  }
  return out;
}

TEST(ExtendedKeysTest, OrderLastAddWinsAndNumberTexts) {
  ExtendedKeys keys;
  const QZChar high[] = {static_cast<QZChar>(0x8000), 0};  // negative as a signed 16-bit unit
  keys.Add(QZ_TEXT("B"), QZ_TEXT("text first"));
  keys.Add(QZ_TEXT("b"), 0);
  keys.Add(QZ_TEXT("a"), -15);
  keys.Add(QZ_TEXT("ab"), 2.0);
  keys.Add(high, -1.5e-7);
  keys.Add(QZ_TEXT("~"), 0.1f);
  const ExtendedKey* other = keys.Get(1);
  keys.Add(QZ_TEXT("B"), -2147483647L - 1);
  // Empty keys and values are ignored.
  keys.Add(QZ_TEXT("B"), QZ_TEXT(""));
  keys.Add(QZ_TEXT("B"), static_cast<const QZChar*>(nullptr));
  keys.Add(QZ_TEXT(""), 1);
  keys.Add(nullptr, 1.0);
  EXPECT_EQ(W("B|a|ab|b|~|") + high + QZ_TEXT('|'), Joined(keys, false));
  EXPECT_EQ(W("-2147483648|-15|2.000000|0|0.100000|-0.000000|"), Joined(keys, true));
  EXPECT_TRUE(keys.Get(0)->IsNumeric());
  EXPECT_EQ(other, keys.Get(1));  // other keys keep their objects
  EXPECT_EQ(nullptr, keys.Get(keys.Size()));
}

TEST(ExtendedKeysTest, CutsKeysAt2000AndTextsAt4000) {
  ExtendedKeys keys;
  const QZString k2000(2000, QZ_TEXT('k')), v4000(4000, QZ_TEXT('v'));
  keys.Add((k2000 + W("first tail")).c_str(), QZ_TEXT("first"));
  keys.Add((k2000 + W("other tail")).c_str(), QZ_TEXT("second"));
  keys.Add(k2000.c_str(), (v4000 + QZ_TEXT('w')).c_str());
  ASSERT_EQ(1u, keys.Size());
  EXPECT_EQ(k2000, keys.Get(0)->Key());
  EXPECT_EQ(v4000, keys.Get(0)->Value());
  EXPECT_FALSE(keys.Get(0)->IsNumeric());
}

}  // namespace
}  // namespace qz
