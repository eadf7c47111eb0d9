#include <gtest/gtest.h>

#include "messages/ApplicationTag.h"
#include "messages/BinaryTag.h"
#include "messages/CompanyTag.h"
#include "messages/PropertyLines.h"
#include "qz/BinaryInfo.h"
#include "qz/ExtendedKeys.h"
#include "support/TestText.h"

namespace qz {
namespace {

using test::U8;

std::string Written(Tag& tag) {
  StringBuf out;
  return U8(tag.Write(out).ToString());
}

std::string Properties(const ExtendedKeys* keys) {
  StringBuf out;
  AppendPropertyLines(out, keys);
  return U8(out.ToString());
}

TEST(BinaryTagTest, WritesOnlySetFieldsInFixedOrder) {
  BinaryInfo info;
  BinaryTag tag;
  tag.Fill(&info);
  EXPECT_EQ("", Written(tag));  // nothing set: no element at all
  info.SetMethodName(QZ_TEXT("Run"));
  tag.Fill(&info);
  EXPECT_EQ("<binary method=\"Run\"/>\n", Written(tag));

  info.SetID(QZ_TEXT("0f8fad5b-d9cb-469f-a165-70867728950e"));
  info.SetName(QZ_TEXT("Editor.exe"));
  info.SetVersion(QZ_TEXT("1.2"));
  info.SetClassName(QZ_TEXT("Doc<T>"));
  info.SetModifiedDate(1000);
  tag.Fill(&info);
  EXPECT_EQ(
      "<binary id=\"0F8FAD5B-D9CB-469F-A165-70867728950E\" modified=\"1970-01-01T00:00:01.000Z\""
      " name=\"Editor.exe\" version=\"1.2\" type=\"Doc&lt;T&gt;\" method=\"Run\"/>\n",
      Written(tag));
}

TEST(PropertyLinesTest, KeyOrderKindsAndEscaping) {
  EXPECT_EQ("", Properties(nullptr));
  ExtendedKeys keys;
  EXPECT_EQ("", Properties(&keys));

  keys.Add(QZ_TEXT("b"), QZ_TEXT("blue"));
  keys.Add(QZ_TEXT("a<b"), QZ_TEXT("x&y"));
  keys.Add(QZ_TEXT("count"), QZ_TEXT("text first"));
  keys.Add(QZ_TEXT("count"), int32_t(7));  // a later number replaces the text
  const QZChar accentedLine[] = {0xE9, '\n', 0};
  keys.Add(QZ_TEXT("d"), accentedLine);
  EXPECT_EQ(
      "<property name=\"a&lt;b\" value=\"x&amp;y\"/>\n"
      "<property name=\"b\" value=\"blue\"/>\n"
      "<property name=\"count\" value=\"7\" type=\"decimal\"/>\n"
      "<property name=\"d\" value=\"&#xe9;&#xa;\"/>\n",
      Properties(&keys));
}

TEST(HeadElementsTest, CompanyAndApplicationOptionalAttributes) {
  CompanyTag bare(QZ_TEXT(""), nullptr);
  EXPECT_EQ("<company id=\"\"/>\n", Written(bare));
  CompanyTag named(QZ_TEXT("9531985D-5D9D-49F8-9818-E811892F902B"), QZ_TEXT("Example & Sons"));
  EXPECT_EQ("<company id=\"9531985D-5D9D-49F8-9818-E811892F902B\" name=\"Example &amp; Sons\"/>\n",
            Written(named));

  ApplicationTag idOnly(QZ_TEXT("A"), QZ_TEXT(""), nullptr, QZ_TEXT(""), nullptr);
  EXPECT_EQ("<application id=\"A\"/>\n", Written(idOnly));
  ApplicationTag full(QZ_TEXT("A"), QZ_TEXT("Editor"), QZ_TEXT("2.0"), QZ_TEXT("desktop"),
                      QZ_TEXT("I1"));
  EXPECT_EQ(
      "<application id=\"A\" name=\"Editor\" version=\"2.0\" type=\"desktop\" instance=\"I1\"/>\n",
      Written(full));
}

}  // namespace
}  // namespace qz
