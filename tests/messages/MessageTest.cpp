#include <gtest/gtest.h>

#include <memory>
#include <regex>
#include <string>

#include "messages/ApplicationStart.h"
#include "messages/ApplicationStop.h"
#include "messages/HostTag.h"
#include "messages/MessagesTag.h"
#include "messages/SessionStart.h"
#include "messages/SessionStop.h"
#include "messages/UserTag.h"
#include "platform/Platform.h"
#include "qz/BinaryInfo.h"
#include "qz/Configuration.h"
#include "qz/ExtendedKeys.h"
#include "support/TestText.h"

namespace qz {
namespace {

using test::U8;

const QZChar* const kGroup = QZ_TEXT("D23F0824-128B-4F33-8C5C-7FD0A6A3A450");
const QZChar* const kGroupLower = QZ_TEXT("d23f0824-128b-4f33-8c5c-7fd0a6a3a450");

std::string Text(const StringBuf& s) { return U8(s.ToString()); }
std::string Written(Tag& tag) {
  StringBuf out;
  return Text(tag.Write(out));
}

// Stand-ins that make the host and user positions visible.
struct MarkedHost : HostTag {
  MarkedHost() : HostTag(false, true) {}
  StringBuf& Write(StringBuf& out) override { return out.Append(QZ_TEXT("<host/>\n")); }
};
struct MarkedUser : UserTag {
  MarkedUser() : UserTag(false, true) {}
  StringBuf& Write(StringBuf& out) override { return out.Append(QZ_TEXT("<user/>\n")); }
};

// The batch's own id and sent time, and the schema host, change per build or
// per call; everything else must match exactly.
std::string MaskBatchHead(const std::string& batch) {
  static const std::regex head(
      "^(<messages [^\\n]*xsi:noNamespaceSchemaLocation=\"http://)[^\"/]+"
      "(/services/messaging\"[^\\n]* id=\")[0-9A-F-]{36}"
      "(\"[^\\n]* sent=\")\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\\.\\d{3}Z\">\\n");
  return std::regex_replace(batch, head, "$1{HOST}$2{ID}$3{SENT}\">\n",
                            std::regex_constants::format_first_only);
}

TEST(MessageTest, ChildrenAreOwnCopiesWithHostAndUserLast) {
  ApplicationStop bare(kGroup, nullptr, nullptr, nullptr, nullptr);
  EXPECT_NE(std::string::npos, Written(bare).find("\">\n</app-stop>\n"));  // never self-closing
  MarkedHost host;
  MarkedUser user;
  auto info = std::make_unique<BinaryInfo>();
  auto keys = std::make_unique<ExtendedKeys>();
  info->SetVersion(QZ_TEXT("1.0"));
  keys->Add(QZ_TEXT("n"), int32_t(5));
  ApplicationStart start(kGroup, info.get(), keys.get(), &host, &user);
  keys->Add(QZ_TEXT("late"), QZ_TEXT("added"));
  info.reset();
  keys.reset();
  const std::string text = Written(start), tail =
      "\">\n<binary version=\"1.0\"/>\n<property name=\"n\" value=\"5\" type=\"decimal\"/>\n"
      "<host/>\n<user/>\n</app-start>\n";
  EXPECT_EQ(0u, text.find("<app-start generated=\""));
  ASSERT_GE(text.size(), tail.size());
  EXPECT_EQ(tail, text.substr(text.size() - tail.size()));
}

// A message sizes its one buffer before it fills it: texts longer than a
// piece of the copy, and escapes that outgrow the estimate, still come out whole.
TEST(MessageTest, LongAndEscapedTextsComeOutWhole) {
  const std::string lower(100, 'a');
  auto info = std::make_unique<BinaryInfo>();
  info->SetName(QZ_TEXT("<<<<>>>>&&&&\"\"\"\""));
  ExtendedKeys keys;
  keys.Add(test::W(lower.c_str()).c_str(), test::W(std::string(300, '&').c_str()).c_str());
  SessionStop message(test::W(lower.c_str()).c_str(), info.get(), &keys);
  info.reset();
  std::string amps;
  for (int i = 0; i < 300; ++i) amps += "&amp;";
  EXPECT_EQ("<session-stop generated=\"" + U8(message.GetGenerated()) + "\" id=\"" +
                U8(message.GetID()) + "\" session=\"" + std::string(100, 'A') + "\">\n" +
                "<binary name=\"&lt;&lt;&lt;&lt;&gt;&gt;&gt;&gt;&amp;&amp;&amp;&amp;"
                "&quot;&quot;&quot;&quot;\"/>\n<property name=\"" + lower + "\" value=\"" + amps +
                "\"/>\n</session-stop>\n",
            Written(message));
}

TEST(MessageTest, Batch) {
  Configuration configuration;
  configuration.SetCompanyID(QZ_TEXT("9531985D-5D9D-49F8-9818-E811892F902B"));
  configuration.SetCompanyName(QZ_TEXT("Example & Sons"));
  configuration.SetApplicationID(QZ_TEXT("36F675CC-81E7-4EF5-A8E2-5D940ED90475"));
  configuration.SetApplicationName(QZ_TEXT("Editor"));
  ASSERT_TRUE(configuration.SetDefaultIDs(kGroup, kGroup));
  MessagesTag envelope(&configuration);
  configuration.SetCompanyName(QZ_TEXT("Renamed"));  // the envelope kept its own copy
  SessionStart message(kGroupLower, nullptr, nullptr);
  MessageList list{&message};
  StringBuf a, b;
  const std::string batch = Text(envelope.WriteBatch(a, list));
  PlatformInfo platform;
  Platform::GetPlatformInfo(platform);
  const std::string expected =
      "<messages xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\""
      " xsi:noNamespaceSchemaLocation=\"http://{HOST}/services/messaging\" protocol=\"3\""
      " agent-name=\"" + Text(platform.name) + "\" agent-version=\"1.0\" id=\"{ID}\""
      " message-group=\"D23F0824-128B-4F33-8C5C-7FD0A6A3A450\" sent=\"{SENT}\">\n"
      "<company id=\"9531985D-5D9D-49F8-9818-E811892F902B\" name=\"Example &amp; Sons\"/>\n"
      "<application id=\"36F675CC-81E7-4EF5-A8E2-5D940ED90475\" name=\"Editor\"/>\n"
      "<session-start generated=\"" + Text(message.GetGenerated()) + "\" id=\"" +
      Text(message.GetID()) + "\" session=\"D23F0824-128B-4F33-8C5C-7FD0A6A3A450\"/>\n"
      "</messages>\n";
  EXPECT_EQ(expected, MaskBatchHead(batch));

  // Written again: only the batch's own id and sent time change.
  const std::string again = Text(envelope.WriteBatch(b, list));
  EXPECT_NE(batch.substr(0, batch.find('\n')), again.substr(0, again.find('\n')));
  EXPECT_EQ(expected, MaskBatchHead(again));

  StringBuf out(QZ_TEXT("keep"));
  MessageList empty;
  envelope.WriteBatch(out, empty);
  envelope.WriteBatch(out, static_cast<const MessageList*>(nullptr));
  EXPECT_EQ("keep", Text(envelope.Write(out)));
}

}  // namespace
}  // namespace qz
