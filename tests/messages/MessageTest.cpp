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

std::string Written(Tag& tag) {
  StringBuf out;
  return U8(tag.Write(out).ToString());
}

// Stand-ins that make the host and user positions visible.
class MarkedHost : public HostTag {
 public:
  MarkedHost() : HostTag(false, true) {}
  StringBuf& Write(StringBuf& out) override { return out.Append(QZ_TEXT("<host/>\n")); }
};
class MarkedUser : public UserTag {
 public:
  MarkedUser() : UserTag(false, true) {}
  StringBuf& Write(StringBuf& out) override { return out.Append(QZ_TEXT("<user/>\n")); }
};

// The batch's own id and sent time, and the schema host, change per build or
// per call; everything else must match exactly.
std::string MaskBatchHead(const std::string& batch) {
  static const std::regex head(
      "^(<messages [^\\n]*xsi:noNamespaceSchemaLocation=\"http://)[^\"/]+"
      "(/services/messaging\"[^\\n]* id=\")[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-"
      "[0-9A-F]{12}(\"[^\\n]* sent=\")\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\\.\\d{3}Z\">\\n");
  return std::regex_replace(batch, head, "$1{HOST}$2{ID}$3{SENT}\">\n",
                            std::regex_constants::format_first_only);
}

std::string PlatformName() {
  PlatformInfo info;
  Platform::GetPlatformInfo(info);
  return U8(info.name.ToString());
}

TEST(MessageTest, MessagesBuiltTogetherHaveDistinctIds) {
  // Retry until two land in the same millisecond; the ids must still differ.
  bool sameMillisecond = false;
  for (int attempt = 0; attempt < 200 && !sameMillisecond; ++attempt) {
    SessionStart first(kGroup, nullptr, nullptr);
    SessionStart second(kGroup, nullptr, nullptr);
    ASSERT_EQ(36u, first.GetID().StrLen());
    ASSERT_NE(U8(first.GetID().ToString()), U8(second.GetID().ToString()));
    sameMillisecond =
        U8(first.GetGenerated().ToString()) == U8(second.GetGenerated().ToString());
  }
  EXPECT_TRUE(sameMillisecond);
}

TEST(MessageTest, KeepsCopiesOfCallerObjects) {
  std::unique_ptr<BinaryInfo> info(new BinaryInfo());
  std::unique_ptr<ExtendedKeys> keys(new ExtendedKeys());
  info->SetName(QZ_TEXT("Editor"));
  keys->Add(QZ_TEXT("n"), int32_t(5));
  SessionStop message(kGroup, info.get(), keys.get());
  const std::string before = Written(message);
  keys->Add(QZ_TEXT("late"), QZ_TEXT("added"));
  info.reset();
  keys.reset();
  EXPECT_EQ(before, Written(message));
  EXPECT_NE(std::string::npos,
            before.find("\">\n<binary name=\"Editor\"/>\n"
                        "<property name=\"n\" value=\"5\" type=\"decimal\"/>\n</session-stop>\n"));
}

TEST(MessageTest, ApplicationMessagesAlwaysOpenAndHoldHostAndUserLast) {
  ApplicationStop bare(kGroup, nullptr, nullptr, nullptr, nullptr);
  EXPECT_NE(std::string::npos, Written(bare).find("\">\n</app-stop>\n"));
  MarkedHost host;
  MarkedUser user;
  BinaryInfo info;
  info.SetVersion(QZ_TEXT("1.0"));
  ExtendedKeys keys;
  keys.Add(QZ_TEXT("k"), QZ_TEXT("v"));
  ApplicationStart start(kGroup, &info, &keys, &host, &user);
  const std::string text = Written(start);
  EXPECT_EQ(0u, text.find("<app-start generated=\""));
  const std::string tail =
      "\">\n<binary version=\"1.0\"/>\n<property name=\"k\" value=\"v\"/>\n"
      "<host/>\n<user/>\n</app-start>\n";
  ASSERT_GE(text.size(), tail.size());
  EXPECT_EQ(tail, text.substr(text.size() - tail.size()));
}

class BatchTest : public ::testing::Test {
 protected:
  void SetUp() override {
    configuration.SetCompanyID(QZ_TEXT("9531985D-5D9D-49F8-9818-E811892F902B"));
    configuration.SetCompanyName(QZ_TEXT("Example & Sons"));
    configuration.SetApplicationID(QZ_TEXT("36F675CC-81E7-4EF5-A8E2-5D940ED90475"));
    configuration.SetApplicationName(QZ_TEXT("Editor"));
    ASSERT_TRUE(configuration.SetDefaultIDs(kGroup, kGroup));
  }
  Configuration configuration;
};

TEST_F(BatchTest, MinimalBatchExactText) {
  MessagesTag envelope(&configuration);
  SessionStart message(kGroupLower, nullptr, nullptr);
  MessageList list{&message};
  StringBuf out;
  const std::string batch = U8(envelope.WriteBatch(out, list).ToString());

  const std::string expected =
      "<messages xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\""
      " xsi:noNamespaceSchemaLocation=\"http://{HOST}/services/messaging\" protocol=\"3\""
      " agent-name=\"" + PlatformName() + "\" agent-version=\"1.0\" id=\"{ID}\""
      " message-group=\"D23F0824-128B-4F33-8C5C-7FD0A6A3A450\" sent=\"{SENT}\">\n"
      "<company id=\"9531985D-5D9D-49F8-9818-E811892F902B\" name=\"Example &amp; Sons\"/>\n"
      "<application id=\"36F675CC-81E7-4EF5-A8E2-5D940ED90475\" name=\"Editor\"/>\n"
      "<session-start generated=\"" + U8(message.GetGenerated().ToString()) + "\" id=\"" +
      U8(message.GetID().ToString()) +
      "\" session=\"D23F0824-128B-4F33-8C5C-7FD0A6A3A450\"/>\n"
      "</messages>\n";
  EXPECT_EQ(expected, MaskBatchHead(batch));
}

TEST_F(BatchTest, EmptyListWritesNothing) {
  MessagesTag envelope(&configuration);
  StringBuf out(QZ_TEXT("keep"));
  MessageList empty;
  envelope.WriteBatch(out, empty);
  envelope.WriteBatch(out, static_cast<const MessageList*>(nullptr));
  envelope.Write(out);
  EXPECT_EQ("keep", U8(out.ToString()));
}

TEST_F(BatchTest, RewritingDiffersOnlyInBatchIdAndSent) {
  MessagesTag envelope(&configuration);
  configuration.SetCompanyName(QZ_TEXT("Renamed"));  // the envelope kept its own copy
  SessionStart first(kGroup, nullptr, nullptr);
  SessionStop second(kGroup, nullptr, nullptr);
  MessageList list{&first, &second};
  StringBuf a;
  StringBuf b;
  envelope.WriteBatch(a, list);
  envelope.WriteBatch(b, list);
  const std::string textA = U8(a.ToString());
  const std::string textB = U8(b.ToString());
  EXPECT_NE(textA.substr(0, textA.find('\n')), textB.substr(0, textB.find('\n')));
  EXPECT_EQ(MaskBatchHead(textA), MaskBatchHead(textB));
  EXPECT_NE(std::string::npos, textA.find("name=\"Example &amp; Sons\""));
  EXPECT_LT(textA.find("<session-start "), textA.find("<session-stop "));
}

}  // namespace
}  // namespace qz
