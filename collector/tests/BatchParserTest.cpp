#include <gtest/gtest.h>

#include <iostream>

#include "TestBatches.h"
#include "ingest/BatchParser.h"
#include "ingest/BatchScanner.h"
#include "ingest/RequestHeaders.h"

namespace qz {
namespace collector {
namespace {

using test::TestBatch;

class BatchParserTest : public ::testing::Test {
 protected:
  static MessagingSchema& Schema() {
    static MessagingSchema schema;
    return schema;
  }
  bool Parse(const std::string& body, Element& root, std::string& error) {
    return BatchParser(Schema()).Parse(body, root, error);
  }
  // A batch of every kind, as the library writes them.
  static TestBatch Everything(bool stored) {
    TestBatch b(1);
    b.stored = stored;
    b.messages = {test::AppStart(test::Guid(1), b.group, 0, "N/A",
                                 "<binary name=\"editor.exe\" version=\"2.1.0.417\" method=\"OnCreate\"/>\n"
                                 "<property name=\"plugins\" value=\"3\" type=\"decimal\"/>\n"),
                  test::SessionStart(test::Guid(2), b.group, 1),
                  test::Feature(test::Guid(3), b.group, 2, test::Guid(3), "Export", "start"),
                  test::Feature(test::Guid(4), b.group, 900, test::Guid(3), "Export", "stop"),
                  test::Fault(test::Guid(5), b.group, 901, "IOError", "caught"),
                  test::Probe(test::Guid(6), b.group, 902, "Startup", 100, 37),
                  test::Probe(test::Guid(7), "", 903, "", 100, 0),
                  test::Profile(test::Guid(8), b.group, 904)};
    return b;
  }
  // A live batch holding one tick whose only property has this escaped value.
  static std::string WithValue(const std::string& escaped) {
    TestBatch b(2);
    b.messages = {test::Feature(test::Guid(1), b.group, 0, test::Guid(1), "Zoom", "tick",
                                "<property name=\"v\" value=\"" + escaped + "\"/>\n")};
    return b.Body();
  }
};

TEST_F(BatchParserTest, AcceptsEveryKindInLiveAndStoredEnvelopes) {
  for (bool stored : {false, true}) {
    Element root;
    std::string error;
    ASSERT_TRUE(Parse(Everything(stored).Body(), root, error)) << error;
    ASSERT_EQ(10u, root.children.size());
    EXPECT_EQ(stored, !root.Has("agent-name"));
    const Element& fault = root.children[6];
    ASSERT_EQ("fault", fault.name);
    EXPECT_EQ("it broke & I lost my work", fault.Get("comment"));
    EXPECT_EQ("cannot read <file>\nline 2", fault.Child("exception")->Get("message"));
    EXPECT_EQ("Load", fault.Child("exception")->Child("stack")->Get("method"));
    EXPECT_EQ("\\\\.\\DISPLAY1", root.children[9].Child("screen")->Get("name"));
  }
}

TEST_F(BatchParserTest, KeepsEveryCharacterTheHostSent) {
  struct Case {
    const char* sent;      // as the library escapes it
    const char* expected;  // UTF-8
  };
  const Case cases[] = {
      {"a&quot;b&lt;c&gt;&amp;d'e", "a\"b<c>&d'e"},
      {"&#xfc;ber M&#xe4;rkte &#x20ac;", "\xC3\xBC" "ber M\xC3\xA4rkte \xE2\x82\xAC"},
      {"&#xd83d;&#xde00;", "\xF0\x9F\x98\x80"},                   // outside the basic plane
      {"&#x1;&#x8;&#xb;&#x1f;", "\x01\x08\x0B\x1F"},               // forbidden in XML 1.0
      {"&#x9;&#xd;&#xa;&#x7f;", "\t\r\n\x7F"},
      {"&#xfffe;&#xffff;", "\xEF\xBF\xBE\xEF\xBF\xBF"},
      {"&#xdbff;&#xdffd;&#xdbc0;&#xdc01;", "\xF4\x8F\xBF\xBD\xF4\x80\x80\x81"},  // what Prepare itself uses
      {"&#x10fffd;&#x1;", "\xF4\x8F\xBF\xBD\x01"},
      {"x&#xd800;y&#xdc00;", "x\xEF\xBF\xBDy\xEF\xBF\xBD"},       // lone surrogates cannot be UTF-8
      {"&#65;&#x42;", "AB"},
  };
  for (const Case& c : cases) {
    Element root;
    std::string error;
    ASSERT_TRUE(Parse(WithValue(c.sent), root, error)) << c.sent << ": " << error;
    EXPECT_EQ(c.expected, root.children[2].Child("property")->Get("value")) << c.sent;
  }
  // Raw UTF-8 from another client, the marker included, passes unchanged.
  Element root;
  std::string error;
  ASSERT_TRUE(Parse(WithValue("\xF4\x8F\xBF\xBD\xC3\xBC"), root, error)) << error;
  EXPECT_EQ("\xF4\x8F\xBF\xBD\xC3\xBC", root.children[2].Child("property")->Get("value"));
}

TEST_F(BatchParserTest, RefusesMalformedBatches) {
  const std::string good = Everything(false).Body();
  const auto replaced = [&](const std::string& from, const std::string& to) {
    std::string body = good;
    body.replace(body.find(from), from.size(), to);
    return body;
  };
  const std::pair<std::string, std::string> cases[] = {
      {"", "not well-formed"},
      {"hello", "not well-formed"},
      {good.substr(0, good.size() / 2), "not well-formed"},
      {replaced("<session-start ", "<session-begin "), "session-begin"},
      {replaced(" event=\"start\"", ""), "event"},
      {replaced(" event=\"start\"", " event=\"begin\""), "begin"},
      {replaced(test::Guid(2), "1234"), "1234"},
      {replaced("protocol=\"3\"", "protocol=\"4\""), "protocol"},
      {replaced("generated=\"" + test::Time(1), "generated=\"yesterday"), "yesterday"},
      {replaced("<company ", "<company colour=\"red\" "), "colour"},
      {replaced("</fault>", "oops</fault>"), "fault"},
      {replaced("<exception ", "<stack seq=\"0\" type=\"a\" method=\"b\"/>\n<exception "), "stack"},
      {"<!DOCTYPE messages [<!ENTITY a \"b\">]>\n" + good, "document type"},
      {WithValue("&#x0;"), "U+0000"},
      {WithValue("a\x01" "b"), "not well-formed"},
      {replaced("<messages ", "<message "), "message"},
  };
  for (const auto& c : cases) {
    Element root;
    std::string error;
    EXPECT_FALSE(Parse(c.first, root, error)) << c.second;
    EXPECT_NE(std::string::npos, error.find(c.second)) << "reason: " << error;
  }
}

TEST_F(BatchParserTest, HeadersMustAgreeWithTheEnvelope) {
  Element live, stored;
  std::string error;
  ASSERT_TRUE(Parse(Everything(false).Body(), live, error)) << error;
  ASSERT_TRUE(Parse(Everything(true).Body(), stored, error)) << error;
  const std::string group = TestBatch(1).group;
  const RequestHeaders good{"text/xml;charset=UTF-8", std::string(test::kCompany), std::string(test::kApplication),
                            group, std::string("Win32/1.0")};

  Batch batch;
  EXPECT_TRUE(good.Check(live, batch, error)) << error;
  EXPECT_FALSE(batch.stored);
  RequestHeaders offline = good;
  offline.agent = "Win32/1.0 offline";
  EXPECT_TRUE(offline.Check(stored, batch, error)) << error;
  EXPECT_TRUE(batch.stored);
  EXPECT_EQ("Win32/1.0 offline", batch.agent);
  RequestHeaders lower = good;
  lower.companyId = "9531985d-5d9d-49f8-9818-e811892f902b";
  EXPECT_TRUE(lower.Check(live, batch, error)) << "GUIDs compare in any case";

  struct Case {
    const char* why;
    RequestHeaders headers;
    const Element* root;
  };
  std::vector<Case> cases(8, Case{"", good, &live});
  cases[0].why = "X-QZ-CID";
  cases[0].headers.companyId = test::Guid(9);
  cases[1].why = "X-QZ-AID";
  cases[1].headers.applicationId.reset();
  cases[2].why = "X-QZ-GID";
  cases[2].headers.messageGroup = test::Guid(9);
  cases[3].why = "X-QZ-API is missing";
  cases[3].headers.agent.reset();
  cases[4].why = "agent-name/agent-version";
  cases[4].headers.agent = "Linux/1.0";
  cases[5].why = "stored batch";
  cases[5].headers.agent = "Win32/1.0 offline";
  cases[6].why = "agent-name/agent-version";
  cases[6].root = &stored;
  cases[7].why = "Content-Type";
  cases[7].headers.contentType = "application/json";
  for (const Case& c : cases) {
    EXPECT_FALSE(c.headers.Check(*c.root, batch, error)) << c.why;
    EXPECT_NE(std::string::npos, error.find(c.why)) << error;
  }
}

// The quick way must take the library's batches, and whatever it takes the
// full parser must take too, with the same elements and texts: checked on
// every kind and on many small damages to them.
TEST_F(BatchParserTest, TheQuickWayAgreesWithTheFullParser) {
  std::vector<std::string> bodies = {Everything(false).Body(), Everything(true).Body(), test::LibraryBatch(1).Body()};
  for (const char* value : {"a&quot;b&lt;c&gt;&amp;d'e", "&#xfc;&#x20ac;&#xd83d;&#xde00;", "&#x1;&#x8;&#x1f;&#x7f;",
                            "&#x9;&#xd;&#xa;", "&#xfffe;&#xffff;&#xdbff;&#xdffd;", "x&#xd800;y&#xdc00;&#xdc00;",
                            "&#65;&#x42;&#0000066;", "&apos;>"}) {
    bodies.push_back(WithValue(value));
  }
  const BatchParser parser(Schema());
  for (const std::string& body : bodies) {
    Element quick, full;
    std::string error;
    ASSERT_TRUE(BatchScanner::Scan(body, quick)) << body;
    ASSERT_TRUE(parser.ParseFully(body, full, error)) << error;
    EXPECT_TRUE(quick == full) << body;
  }

  const char* const pieces[] = {"",     "<",     ">",      "&",     "\"",         "'",        " ",        "\n",
                                "\t",   "x",     "-",      "/",     "\x01",       "\xC3\xBC", "&#x0;",    "&#xd800;",
                                "&#;",  "&#x110000;", "<!-- -->", "<a/>", " x=\"1\"", "]]>",     "\r",      "0"};
  int taken = 0, checked = 0;
  // Every other position of a batch, and every one of the stored envelope's head.
  for (const bool stored : {false, true}) {
    const std::string& body = bodies[stored ? 1 : 0];
    for (size_t at = 0; at < (stored ? 600 : body.size()); at += stored ? 1 : 2) {
      for (const char* piece : pieces) {
        for (size_t cut : {0, 1}) {
          std::string damaged = body;
          damaged.replace(at, cut, piece);
          if (damaged == body) continue;
          Element quick;
          if (!BatchScanner::Scan(damaged, quick)) continue;
          // The full parse is the slow part: a sample of what the quick way took.
          if (taken++ % 16 != 0) continue;
          ++checked;
          Element full;
          std::string error;
          ASSERT_TRUE(parser.ParseFully(damaged, full, error)) << error << "\n" << damaged;
          ASSERT_TRUE(quick == full) << damaged;
        }
      }
    }
  }
  EXPECT_GT(taken, 1000);
  std::cout << taken << " damaged batches taken the quick way, " << checked << " compared\n";
}

}  // namespace
}  // namespace collector
}  // namespace qz
