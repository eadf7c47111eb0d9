#include <gtest/gtest.h>

#include <string>

#include "messages/ApplicationTag.h"
#include "messages/BinaryTag.h"
#include "messages/CompanyTag.h"
#include "messages/PropertyLines.h"
#include "messages/Tag.h"
#include "qz/BinaryInfo.h"
#include "qz/ExtendedKeys.h"
#include "support/TestText.h"

namespace qz {
namespace {

using test::U8;

// An element whose children the test decides; it also reaches the attribute writers.
class ProbeTag : public Tag {
 public:
  const QZChar* children = nullptr;  // null: no children
  StringBuf& Write(StringBuf& out) override { return WriteElement(out, QZ_TEXT("probe")); }
  using Tag::WriteAttribute;
  using Tag::WriteOptionalAttribute;

 protected:
  bool HasChildren() override { return children != nullptr; }
  void WriteChildren(StringBuf& out) override { out.Append(children); }
};

TEST(TagTest, ElementShapes) {
  ProbeTag tag;
  StringBuf out;
  // Claiming children but writing none still gives the open/close pair.
  const QZChar* children[] = {nullptr, QZ_TEXT(""), QZ_TEXT("<inner/>\n")};
  for (const QZChar* c : children) {
    tag.children = c;
    tag.Write(out);
  }
  EXPECT_EQ("<probe/>\n<probe>\n</probe>\n<probe>\n<inner/>\n</probe>\n", U8(out.ToString()));
}

TEST(TagTest, EscapingKeepsOutputSevenBit) {
  const QZChar text[] = {'a', '"', 'b', '<', 'c', '>', '&', 'd', '\'', 'e', ' ', '~', '\r', '\n', '\t',
                         0x7F, 0x1, 0xE9, 0xFFFF, 0xD83D, 0xDE00, 0};
  StringBuf out;
  Tag::AppendEscaped(out, text);
  Tag::AppendEscaped(out, nullptr);
  EXPECT_EQ("a&quot;b&lt;c&gt;&amp;d'e ~&#xd;&#xa;&#x9;&#x7f;&#x1;&#xe9;&#xffff;&#xd83d;&#xde00;",
            U8(out.ToString()));
}

// A text that escapes to eight times its length is measured once: the buffer
// is enlarged once, not every 512 characters (which made such a text cost time
// that grew with the square of its length).
TEST(TagTest, EscapingALongTextEnlargesTheBufferOnce) {
  const std::u16string text = u"ab" + std::u16string(20000, u'\u65e5') + u"\"cd\x01";
  StringBuf out(QZ_TEXT("x"));
  const uint64_t growth = out.Growth();
  Tag::AppendEscaped(out, reinterpret_cast<const QZChar*>(text.c_str()));
  EXPECT_EQ(3 + 20000 * 8 + 6 + 2 + 5, out.StrLen());
  EXPECT_EQ(out.StrLen() + 1 + growth, out.Capacity());
  EXPECT_EQ(out.StrLen() - 1, Tag::EscapedLength(reinterpret_cast<const QZChar*>(text.c_str())));
  EXPECT_EQ("x", U8(out.ToString()).substr(0, 1));
  EXPECT_EQ("ab&#x65e5;", U8(out.ToString()).substr(1, 10));
  EXPECT_EQ("&#x65e5;&quot;cd&#x1;", U8(out.ToString()).substr(out.StrLen() - 21));
}

TEST(TagTest, AttributesAndOptionalAttributes) {
  StringBuf out;
  ProbeTag::WriteAttribute(out, QZ_TEXT("i"), int32_t(-1));
  ProbeTag::WriteAttribute(out, QZ_TEXT("u"), uint32_t(4294967295u));
  ProbeTag::WriteAttribute(out, QZ_TEXT("l"), uint64_t(18446744073709551615ull));
  ProbeTag::WriteAttribute(out, QZ_TEXT("t"), true);
  ProbeTag::WriteAttribute(out, QZ_TEXT("n"), static_cast<const QZChar*>(nullptr));
  ProbeTag::WriteAttribute(out, QZ_TEXT("s"), StringBuf(QZ_TEXT("a&b")));
  // Absent optional values: not positive, zero, null or empty.
  ProbeTag::WriteOptionalAttribute(out, QZ_TEXT("a"), int32_t(-1));
  ProbeTag::WriteOptionalAttribute(out, QZ_TEXT("b"), int32_t(0));
  ProbeTag::WriteOptionalAttribute(out, QZ_TEXT("c"), uint32_t(0));
  ProbeTag::WriteOptionalAttribute(out, QZ_TEXT("d"), uint64_t(0));
  ProbeTag::WriteOptionalAttribute(out, QZ_TEXT("e"), static_cast<const QZChar*>(nullptr));
  ProbeTag::WriteOptionalAttribute(out, QZ_TEXT("f"), QZ_TEXT(""));
  ProbeTag::WriteOptionalAttribute(out, QZ_TEXT("g"), StringBuf());
  ProbeTag::WriteOptionalAttribute(out, QZ_TEXT("A"), int32_t(1));
  ProbeTag::WriteOptionalAttribute(out, QZ_TEXT("C"), uint32_t(2));
  ProbeTag::WriteOptionalAttribute(out, QZ_TEXT("D"), uint64_t(3));
  ProbeTag::WriteOptionalAttribute(out, QZ_TEXT("F"), QZ_TEXT("x>y"));
  ProbeTag::WriteOptionalAttribute(out, QZ_TEXT("G"), StringBuf(QZ_TEXT("z")));
  EXPECT_EQ(
      " i=\"-1\" u=\"4294967295\" l=\"18446744073709551615\" t=\"true\" n=\"\" s=\"a&amp;b\""
      " A=\"1\" C=\"2\" D=\"3\" F=\"x&gt;y\" G=\"z\"",
      U8(out.ToString()));
}

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
  info.SetID(QZ_TEXT("0f8fad5b-d9cb-469f-a165-70867728950e"));
  info.SetName(QZ_TEXT("Editor.exe"));
  info.SetClassName(QZ_TEXT("Doc<T>"));
  info.SetModifiedDate(1000);
  tag.Fill(&info);
  EXPECT_EQ(
      "<binary id=\"0F8FAD5B-D9CB-469F-A165-70867728950E\" modified=\"1970-01-01T00:00:01.000Z\""
      " name=\"Editor.exe\" type=\"Doc&lt;T&gt;\" method=\"Run\"/>\n",
      Written(tag));
}

TEST(PropertyLinesTest, KeyOrderNumbersAndEscaping) {
  ExtendedKeys keys;
  EXPECT_EQ("", Properties(nullptr) + Properties(&keys));

  keys.Add(QZ_TEXT("b"), QZ_TEXT("blue"));
  keys.Add(QZ_TEXT("a<b"), QZ_TEXT("x&y"));
  keys.Add(QZ_TEXT("count"), int32_t(7));
  EXPECT_EQ(
      "<property name=\"a&lt;b\" value=\"x&amp;y\"/>\n"
      "<property name=\"b\" value=\"blue\"/>\n"
      "<property name=\"count\" value=\"7\" type=\"decimal\"/>\n",
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
