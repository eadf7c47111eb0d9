#include <gtest/gtest.h>

#include <string>

#include "qz/ExtendedKeys.h"
#include "support/TestText.h"

namespace qz {
namespace {
using test::QZString;
using test::W;

QZString Keys(const ExtendedKeys& keys) {
  QZString out;
  for (uint64_t i = 0; i < keys.Size(); ++i) {
    out += keys.Get(i)->Key();
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
  EXPECT_EQ(W("B|a|ab|b|~|") + high + QZ_TEXT('|'), Keys(keys));
  EXPECT_EQ(nullptr, keys.Get(keys.Size()));
  EXPECT_EQ(nullptr, ExtendedKeys().Get(0));
}

TEST(ExtendedKeysTest, LastAddWinsWhateverTheKind) {
  ExtendedKeys keys;
  keys.Add(QZ_TEXT("k"), QZ_TEXT("x"));
  const ExtendedKey* other = nullptr;
  keys.Add(QZ_TEXT("m"), QZ_TEXT("y"));
  other = keys.Get(1);
  keys.Add(QZ_TEXT("k"), 7);
  ASSERT_EQ(2u, keys.Size());
  EXPECT_EQ(W("7"), keys.Get(0)->Value());
  EXPECT_TRUE(keys.Get(0)->IsNumeric());
  EXPECT_EQ(other, keys.Get(1));  // untouched keys keep their objects
  keys.Add(QZ_TEXT("k"), QZ_TEXT("text again"));
  EXPECT_FALSE(keys.Get(0)->IsNumeric());
}

TEST(ExtendedKeysTest, IgnoresMissingKeyOrText) {
  ExtendedKeys keys;
  keys.Add(QZ_TEXT("k"), QZ_TEXT(""));
  keys.Add(QZ_TEXT("k"), static_cast<const QZChar*>(nullptr));
  keys.Add(QZ_TEXT(""), 1);
  keys.Add(nullptr, 1.0);
  keys.Add(nullptr, QZ_TEXT("v"));
  EXPECT_EQ(0u, keys.Size());
  keys.Add(QZ_TEXT("zero"), 0);
  ASSERT_EQ(1u, keys.Size());
  EXPECT_EQ(W("0"), keys.Get(0)->Value());
}

TEST(ExtendedKeysTest, FormatsNumbers) {
  ExtendedKeys keys;
  keys.Add(QZ_TEXT("a"), -15);
  keys.Add(QZ_TEXT("b"), 2.0);
  keys.Add(QZ_TEXT("c"), -1.5e-7);
  keys.Add(QZ_TEXT("d"), 0.1f);
  keys.Add(QZ_TEXT("e"), -2147483647L - 1);
  keys.Add(QZ_TEXT("f"), 0.5f);
  const char* expected[] = {"-15", "2.000000", "-0.000000", "0.100000", "-2147483648", "0.500000"};
  ASSERT_EQ(6u, keys.Size());
  for (uint64_t i = 0; i < keys.Size(); ++i) {
    EXPECT_EQ(W(expected[i]), keys.Get(i)->Value()) << i;
    EXPECT_TRUE(keys.Get(i)->IsNumeric());
  }
  EXPECT_EQ(ExtendedKey::KIND_INT, keys.Get(0)->GetKind());
  EXPECT_EQ(ExtendedKey::KIND_DOUBLE, keys.Get(1)->GetKind());
  EXPECT_EQ(ExtendedKey::KIND_FLOAT, keys.Get(3)->GetKind());
  EXPECT_EQ(ExtendedKey::KIND_LONG, keys.Get(4)->GetKind());
}

TEST(ExtendedKeysTest, CutsLongKeysAndTexts) {
  ExtendedKeys keys;
  QZString key2500(2500, QZ_TEXT('k'));
  QZString key2000b = QZString(2000, QZ_TEXT('k')) + QZ_TEXT("other tail");
  keys.Add(key2500.c_str(), QZ_TEXT("first"));
  keys.Add(key2000b.c_str(), QZ_TEXT("second"));
  ASSERT_EQ(1u, keys.Size());
  EXPECT_EQ(key2500.substr(0, 2000), keys.Get(0)->Key());
  EXPECT_EQ(W("second"), keys.Get(0)->Value());

  QZString exact(4000, QZ_TEXT('v'));
  QZString over = exact + QZString(1000, QZ_TEXT('w'));
  keys.Add(QZ_TEXT("exact"), exact.c_str());
  keys.Add(QZ_TEXT("over"), over.c_str());
  EXPECT_EQ(exact, keys.Get(0)->Value());
  EXPECT_EQ(exact, keys.Get(2)->Value());
  QZString key2000(2000, QZ_TEXT('a'));
  keys.Add(key2000.c_str(), 1);
  EXPECT_EQ(key2000, keys.Get(0)->Key());
}

}  // namespace
}  // namespace qz
