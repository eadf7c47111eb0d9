#include <gtest/gtest.h>

#include "messages/Tag.h"
#include "support/TestText.h"

namespace qz {
namespace {

using test::U8;
using test::W;

// An element whose shape and attributes the test decides.
class ProbeTag : public Tag {
 public:
  bool children = false;
  const QZChar* childText = nullptr;

  StringBuf& Write(StringBuf& out) override { return WriteElement(out, QZ_TEXT("probe")); }

  using Tag::WriteAttribute;
  using Tag::WriteOptionalAttribute;

 protected:
  bool HasChildren() override { return children; }
  void WriteChildren(StringBuf& out) override { out.Append(childText); }
};

std::string Escaped(const QZChar* text) {
  StringBuf out;
  Tag::AppendEscaped(out, text);
  return U8(out.ToString());
}

TEST(TagTest, ElementShapes) {
  ProbeTag tag;
  StringBuf out;
  EXPECT_EQ("<probe/>\n", U8(tag.Write(out).ToString()));

  // Claiming children but writing none still gives the open/close pair.
  tag.children = true;
  out.Clear();
  EXPECT_EQ("<probe>\n</probe>\n", U8(tag.Write(out).ToString()));

  tag.childText = QZ_TEXT("<inner/>\n");
  out.Clear();
  EXPECT_EQ("<probe>\n<inner/>\n</probe>\n", U8(tag.Write(out).ToString()));
}

TEST(TagTest, EscapingKeepsOutputSevenBit) {
  EXPECT_EQ("a&quot;b&lt;c&gt;&amp;d'e", Escaped(QZ_TEXT("a\"b<c>&d'e")));
  EXPECT_EQ("x&#xd;&#xa;y&#x9;", Escaped(QZ_TEXT("x\r\ny\t")));
  EXPECT_EQ(" ~&#x7f;", Escaped(QZ_TEXT(" ~\x7f")));

  const QZChar accented[] = {'c', 'a', 'f', 0xE9, 0};
  EXPECT_EQ("caf&#xe9;", Escaped(accented));
  const QZChar surrogates[] = {0xD83D, 0xDE00, 0};
  EXPECT_EQ("&#xd83d;&#xde00;", Escaped(surrogates));
  const QZChar high[] = {0x1, 0x100, 0xFFFF, 0};
  EXPECT_EQ("&#x1;&#x100;&#xffff;", Escaped(high));

  EXPECT_EQ("", Escaped(nullptr));
  EXPECT_EQ("", Escaped(QZ_TEXT("")));
}

TEST(TagTest, AttributeWriters) {
  StringBuf out;
  ProbeTag::WriteAttribute(out, QZ_TEXT("i"), int32_t(-1));
  ProbeTag::WriteAttribute(out, QZ_TEXT("u"), uint32_t(4294967295u));
  ProbeTag::WriteAttribute(out, QZ_TEXT("l"), uint64_t(18446744073709551615ull));
  ProbeTag::WriteAttribute(out, QZ_TEXT("t"), true);
  ProbeTag::WriteAttribute(out, QZ_TEXT("f"), false);
  ProbeTag::WriteAttribute(out, QZ_TEXT("n"), static_cast<const QZChar*>(nullptr));
  ProbeTag::WriteAttribute(out, QZ_TEXT("e"), StringBuf());
  ProbeTag::WriteAttribute(out, QZ_TEXT("s"), StringBuf(QZ_TEXT("a&b")));
  ProbeTag::WriteAttribute(out, QZ_TEXT("w"), QZ_TEXT("<\"'>"));
  EXPECT_EQ(
      " i=\"-1\" u=\"4294967295\" l=\"18446744073709551615\" t=\"true\" f=\"false\" n=\"\""
      " e=\"\" s=\"a&amp;b\" w=\"&lt;&quot;'&gt;\"",
      U8(out.ToString()));
}

TEST(TagTest, OptionalAttributesSkipAbsentValues) {
  StringBuf out;
  ProbeTag::WriteOptionalAttribute(out, QZ_TEXT("a"), int32_t(-1));
  ProbeTag::WriteOptionalAttribute(out, QZ_TEXT("b"), int32_t(0));
  ProbeTag::WriteOptionalAttribute(out, QZ_TEXT("c"), uint32_t(0));
  ProbeTag::WriteOptionalAttribute(out, QZ_TEXT("d"), uint64_t(0));
  ProbeTag::WriteOptionalAttribute(out, QZ_TEXT("e"), static_cast<const QZChar*>(nullptr));
  ProbeTag::WriteOptionalAttribute(out, QZ_TEXT("f"), QZ_TEXT(""));
  ProbeTag::WriteOptionalAttribute(out, QZ_TEXT("g"), StringBuf());
  EXPECT_EQ("", U8(out.ToString()));

  ProbeTag::WriteOptionalAttribute(out, QZ_TEXT("a"), int32_t(1));
  ProbeTag::WriteOptionalAttribute(out, QZ_TEXT("c"), uint32_t(2));
  ProbeTag::WriteOptionalAttribute(out, QZ_TEXT("d"), uint64_t(3));
  ProbeTag::WriteOptionalAttribute(out, QZ_TEXT("f"), QZ_TEXT("x>y"));
  ProbeTag::WriteOptionalAttribute(out, QZ_TEXT("g"), StringBuf(QZ_TEXT("z")));
  EXPECT_EQ(" a=\"1\" c=\"2\" d=\"3\" f=\"x&gt;y\" g=\"z\"", U8(out.ToString()));
}

}  // namespace
}  // namespace qz
