// What the report does to stored texts and numbers before they reach a
// terminal, a page or another tool.
#include <gtest/gtest.h>

#include <climits>

#include "report/Charts.h"
#include "report/Format.h"
#include "report/ReportFilter.h"

namespace qz {
namespace collector {
namespace {


TEST(FormatTest, ControlCharactersNeverReachATerminal) {
  // Clear the screen, retitle the window, ring the bell, a C1 escape, a
  // direction override, a line feed.
  const std::string hostile = "a\x1B[2Jb\x1B]0;owned\x07" "c\xC2\x9B" "31md\xE2\x80\xAEx\ny\x7F";
  const std::string shown = Format::Printable(hostile);
  for (char c : shown) EXPECT_FALSE(static_cast<unsigned char>(c) < 0x20 || c == 0x7F) << shown;
  EXPECT_EQ(std::string::npos, shown.find("\xC2\x9B"));
  EXPECT_EQ(std::string::npos, shown.find("\xE2\x80\xAE"));
  EXPECT_EQ("a\xEF\xBF\xBD[2Jb", shown.substr(0, 8));
  EXPECT_EQ("x\ny", Format::Printable("x\ny", true));
  // Bytes that are not UTF-8: overlong, surrogate, cut short, beyond U+10FFFF.
  for (const std::string bad : {"\xC0\xAF", "\xED\xA0\x80", "\xE2\x82", "\xF4\x90\x80\x80", "\xFF"}) {
    const std::string out = Format::Printable("<" + bad + ">");
    EXPECT_EQ('<', out.front());
    EXPECT_EQ('>', out.back());
    EXPECT_NE(std::string::npos, out.find("\xEF\xBF\xBD")) << out;
  }
  EXPECT_EQ("\"a\\\"\\\\\xEF\xBF\xBD\\n\\u003c\"", Format::Json("a\"\\\x01\n<"));
  EXPECT_EQ("&lt;b&gt;&amp;&quot;&#39;&#10;\xEF\xBF\xBD", Format::Html("<b>&\"'\n\x1B"));
}

TEST(FormatTest, LabelsAreCutBetweenCharacters) {
  // Two-, three- and four-byte characters: a cut never splits one.
  const std::string word = "\xC3\xBC\xE2\x82\xAC\xF0\x9F\x98\x80";  // ü€😀
  std::string long_text;
  for (int i = 0; i < 40; ++i) long_text += word;
  for (size_t width : {1u, 4u, 5u, 31u, 32u, 33u}) {
    const std::string cut = Format::Cut(long_text, width);
    EXPECT_EQ(Format::Printable(cut), cut) << width;
    EXPECT_EQ("...", cut.substr(cut.size() - 3));
  }
  EXPECT_EQ("\xC3\xBC\xE2\x82\xAC...", Format::Cut(long_text, 5));
  EXPECT_EQ(word, Format::Cut(word, 3));
  EXPECT_EQ("", Format::Cut("", 3));
}

TEST(FormatTest, DurationsAndCountsOfAnySign) {
  EXPECT_EQ("-1.500 s", Format::Duration(-1500));
  EXPECT_EQ("-0.001 s", Format::Duration(-1));
  EXPECT_EQ("0.000 s", Format::Duration(0));
  EXPECT_EQ("59.999 s", Format::Duration(59999));
  EXPECT_EQ("2 min 05 s", Format::Duration(125000));
  EXPECT_EQ("-3 h 04 min", Format::Duration(-(3 * 3600000 + 4 * 60000)));
  EXPECT_EQ("106751991167 d 07 h", Format::Duration(LLONG_MAX));
  EXPECT_EQ("-106751991167 d 07 h", Format::Duration(LLONG_MIN));
  EXPECT_EQ("-9,223,372,036,854,775,808", Format::Count(LLONG_MIN));
  EXPECT_EQ("1,000", Format::Count(1000));
  EXPECT_EQ("-", Format::Percent(1, 0));
  EXPECT_EQ("50.0 %", Format::Percent(1, 2));
}

TEST(FormatTest, ChartScalesLeaveRoomAboveTheLargestValue) {
  EXPECT_EQ(120, Charts::NiceCeiling(100));
  EXPECT_EQ(120, Charts::NiceCeiling(98));
  EXPECT_EQ(1, Charts::NiceCeiling(0));
  EXPECT_EQ(1e19, Charts::NiceCeiling(9.2e18));
  // One point: in the middle, below the top.
  const std::string one = Charts::Lines({"2026-01-02"}, {{"memory", {312}}}, "MB");
  EXPECT_NE(std::string::npos, one.find("cx=\"340.0\"")) << one;
  EXPECT_EQ(std::string::npos, one.find("cy=\"12.0\"")) << one;
}

TEST(FormatTest, FiltersFromTheQueryString) {
  ReportFilter f;
  std::string error;
  ASSERT_TRUE(f.SetFromQuery("company=9531985d-5d9d-49f8-9818-e811892f902b&version=2.1+beta%2F1&from=2026-01-01&"
                             "to=2025-12-01&unknown=1&view=stability",
                             error))
      << error;
  EXPECT_EQ("9531985D-5D9D-49F8-9818-E811892F902B", f.company);
  EXPECT_EQ("2.1 beta/1", f.version);
  f.SetDefaultRange("2026-11-24");
  EXPECT_EQ("2025-12-01", f.from);
  EXPECT_EQ("2026-01-01", f.to);
  EXPECT_EQ("company=9531985D-5D9D-49F8-9818-E811892F902B&version=2.1%20beta%2F1&from=2025-12-01&to=2026-01-01&view=stability",
            f.Query());
  for (const char* bad : {"company=1", "from=2026-02-29", "to=20260101", "view=secret"}) {
    ReportFilter g;
    EXPECT_FALSE(g.SetFromQuery(bad, error)) << bad;
  }
  ReportFilter d;
  d.SetDefaultRange("2026-03-01");
  EXPECT_EQ("2026-01-31", d.from);
  ReportFilter wide;
  ASSERT_TRUE(wide.SetFromQuery("from=0001-01-01&to=9999-12-31", error));
  wide.SetDefaultRange("2026-03-01");
  EXPECT_EQ("9989-12-", wide.from.substr(0, 8)) << "at most ten years";
}

}  // namespace
}  // namespace collector
}  // namespace qz
