// A host's calls travel through the queue, the transmitter thread and the real
// transport to the loopback receiver; the test checks what arrived.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <map>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "platform/Platform.h"
#include "qz/API.h"
#include "qz/BinaryInfo.h"
#include "qz/Configuration.h"
#include "qz/ExtendedKeys.h"
#include "qz/FlowController.h"
#include "support/LogCapture.h"
#include "support/Receiver.h"
#include "support/TestText.h"

namespace qz {
namespace {

using test::LogCapture;
using test::RecordedRequest;
using test::U8;
using test::W;

const QZChar kCompany[] = QZ_TEXT("9531985D-5D9D-49F8-9818-E811892F902B");
const QZChar kApplication[] = QZ_TEXT("36F675CC-81E7-4EF5-A8E2-5D940ED90475");
const QZChar kOtherSession[] = QZ_TEXT("6b0d549b-6f03-475a-9600-a35a099950d8");
const ExtendedKeys* const kNoKeys = nullptr;

// Names of the message elements of a batch body, in order.
std::vector<std::string> MessageNames(const std::string& body) {
  static const std::set<std::string> kMessages = {"app-start", "app-stop", "session-start",
                                                  "session-stop", "feature"};
  std::vector<std::string> names;
  size_t pos = 0;
  while ((pos = body.find('<', pos)) != std::string::npos) {
    size_t end = body.find_first_of(" />\n", pos + 1);
    std::string name = body.substr(pos + 1, end - pos - 1);
    if (kMessages.count(name) != 0) names.push_back(name);
    pos = end;
  }
  return names;
}

// Value of the first attribute with this name after position from.
std::string Attribute(const std::string& text, const std::string& name, size_t from = 0) {
  const std::string key = " " + name + "=\"";
  size_t pos = text.find(key, from);
  if (pos == std::string::npos) return "<missing>";
  pos += key.size();
  return text.substr(pos, text.find('"', pos) - pos);
}

class EndToEndTest : public ::testing::Test {
 protected:
  void SetUp() override {
    API::ApplicationStop(kNoKeys);
    std::string why;
    if (!receiver.Connect(&why)) GTEST_SKIP() << why;
    ASSERT_TRUE(receiver.Reset());
    config.SetCompanyID(kCompany);
    config.SetCompanyName(QZ_TEXT("Example & Sons"));
    config.SetApplicationID(kApplication);
    config.SetApplicationName(QZ_TEXT("Editor"));
    config.SetApplicationVersion(QZ_TEXT("2.1"));
    config.SetSupportOfflineStorage(false);
    config.SetEndpointTimeout(1500);
  }
  void TearDown() override {
    API::ApplicationStop(kNoKeys);
    receiver.Reset();
  }
  void UseReceiver(bool https, const std::string& path) {
    config.SetUseSSL(https);
    config.SetEndpointLocation(W(receiver.Location(https, path).c_str()).c_str());
  }

  test::Receiver receiver;
  Configuration config;
};

void ReportOneOfEach() {
  BinaryInfo info;
  info.SetName(QZ_TEXT("editor.exe"));
  info.SetClassName(QZ_TEXT("Document"));
  info.SetMethodName(QZ_TEXT("Export"));
  ExtendedKeys keys;
  keys.Add(QZ_TEXT("format"), QZ_TEXT("PDF \u00e9\u4e2d"));
  keys.Add(QZ_TEXT("pages"), 12);
  API::SessionStart(kOtherSession, &info, &keys);
  API::FeatureStart(QZ_TEXT("Export"), &info, &keys);
  API::FeatureTick(QZ_TEXT("Zoom"), kNoKeys);
  API::FeatureStop(QZ_TEXT("Export"), &info, &keys);
  API::SessionStop(kOtherSession, kNoKeys);
}

void CheckRequest(const RecordedRequest& request, const std::string& path,
                  const std::string& group) {
  EXPECT_EQ("POST " + path + " HTTP/1.1", request.requestLine);
  // Our eight headers, in this order, each once; the client may add its own
  // (Host, Content-Length, Connection ...) around them.
  const std::vector<std::string> expectedNames = {
      "Content-Type", "Cache-control", "Pragma",   "Date",
      "X-QZ-CID",     "X-QZ-AID",      "X-QZ-GID", "X-QZ-API"};
  std::vector<std::string> ours;
  for (const std::string& line : request.headerLines) {
    for (const std::string& name : expectedNames) {
      if (line.compare(0, name.size() + 1, name + ":") == 0) ours.push_back(line);
    }
  }
  PlatformInfo platform;
  Platform::GetPlatformInfo(platform);
  const std::string agent = U8(platform.name.ToString()) + "/" + U8(platform.version.ToString());
  ASSERT_EQ(8u, ours.size());
  EXPECT_EQ("Content-Type: text/xml;charset=UTF-8", ours[0]);
  EXPECT_EQ("Cache-control: no-cache, no-store", ours[1]);
  EXPECT_EQ("Pragma: no-cache", ours[2]);
  EXPECT_EQ(0u, ours[3].find("Date: ")) << ours[3];
  EXPECT_NE(std::string::npos, ours[3].find(" GMT")) << ours[3];
  EXPECT_EQ("X-QZ-CID: " + U8(kCompany), ours[4]);
  EXPECT_EQ("X-QZ-AID: " + U8(kApplication), ours[5]);
  EXPECT_EQ("X-QZ-GID: " + group, ours[6]);
  EXPECT_EQ("X-QZ-API: " + agent, ours[7]);
  ASSERT_EQ(1u, request.Values("Content-Length").size());
  EXPECT_EQ(std::to_string(request.body.size()), request.Values("Content-Length")[0]);
}

void RunWholeRun(test::Receiver& receiver, Configuration& config) {
  const std::string path = "/Svc/Messaging.svc/Publish?tenant=7";
  BinaryInfo info;
  info.SetName(QZ_TEXT("editor.exe"));
  ExtendedKeys keys;
  keys.Add(QZ_TEXT("edition"), QZ_TEXT("Pro"));
  ASSERT_TRUE(API::ApplicationStart(&config, &info, &keys));
  const std::string group = U8(API::GetMessageGroup());
  ReportOneOfEach();
  API::ApplicationStop(kNoKeys);

  // Nothing woke the transmitter early, so the stop pass sent everything at once.
  ASSERT_EQ(1, receiver.Count());
  RecordedRequest request;
  ASSERT_TRUE(receiver.Request(0, request));
  CheckRequest(request, path, group);

  const std::string& body = request.body;
  const std::vector<std::string> expected = {"app-start", "session-start", "session-start",
                                             "feature",   "feature",       "feature",
                                             "session-stop", "session-stop", "app-stop"};
  EXPECT_EQ(expected, MessageNames(body)) << body;
  EXPECT_EQ(0u, body.find("<messages xmlns:xsi=\"")) << body;
  EXPECT_EQ("3", Attribute(body, "protocol"));
  EXPECT_EQ(group, Attribute(body, "message-group"));
  EXPECT_NE(std::string::npos,
            body.find("<company id=\"" + U8(kCompany) + "\" name=\"Example &amp; Sons\"/>\n"));
  EXPECT_NE(std::string::npos, body.find("<application id=\"" + U8(kApplication) +
                                         "\" name=\"Editor\" version=\"2.1\"/>\n"));
  // Non-ASCII travels as character references inside plain 7-bit text.
  EXPECT_NE(std::string::npos, body.find("value=\"PDF &#xe9;&#x4e2d;\"")) << body;
  EXPECT_NE(std::string::npos, body.find("session=\"6B0D549B-6F03-475A-9600-A35A099950D8\""));
  EXPECT_EQ("</messages>\n", body.substr(body.size() - 12));
  // The start and stop of "Export" share the start's id as their group.
  const size_t start = body.find("event=\"start\"");
  const size_t stop = body.find("event=\"stop\"");
  ASSERT_NE(std::string::npos, start);
  ASSERT_NE(std::string::npos, stop);
  const size_t startLine = body.rfind("<feature", start);
  const size_t stopLine = body.rfind("<feature", stop);
  EXPECT_EQ(Attribute(body, "id", startLine), Attribute(body, "group", startLine));
  EXPECT_EQ(Attribute(body, "id", startLine), Attribute(body, "group", stopLine));
}

TEST_F(EndToEndTest, AWholeRunArrivesAsOneBatchOverHttp) {
  UseReceiver(false, "/Svc/Messaging.svc/Publish?tenant=7");
  RunWholeRun(receiver, config);
}

TEST_F(EndToEndTest, AWholeRunArrivesAsOneBatchOverHttpsWithASelfSignedCertificate) {
  UseReceiver(true, "/Svc/Messaging.svc/Publish?tenant=7");
  RunWholeRun(receiver, config);
}

TEST_F(EndToEndTest, SendMessagesPostsWhatIsQueuedAndA204IsSuccess) {
  UseReceiver(false, "/qz");
  LogCapture log;
  ASSERT_TRUE(API::ApplicationStart(&config, kNoKeys));
  API::FeatureTick(QZ_TEXT("Zoom"), kNoKeys);
  API::SendMessages();
  // SendNow waited for no pass; give the thread a generous moment to post.
  for (int i = 0; i < 500 && receiver.Count() < 1; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  ASSERT_EQ(1, receiver.Count());
  RecordedRequest request;
  ASSERT_TRUE(receiver.Request(0, request));
  const std::vector<std::string> expected = {"app-start", "session-start", "feature"};
  EXPECT_EQ(expected, MessageNames(request.body));
  API::ApplicationStop(kNoKeys);
  EXPECT_EQ(2, receiver.Count());
  for (const auto& entry : log.Entries()) {
    EXPECT_EQ(std::string::npos, entry.message.find("QZ server returned")) << entry.message;
  }
}

TEST_F(EndToEndTest, FailedPostsAreLoggedWithTheStatus) {
  UseReceiver(false, "/qz");
  ASSERT_TRUE(receiver.SetStatus(500));
  LogCapture log;
  ASSERT_TRUE(API::ApplicationStart(&config, kNoKeys));
  API::ApplicationStop(kNoKeys);
  EXPECT_EQ(1, receiver.Count());
  bool found = false;
  for (const auto& entry : log.Entries()) {
    if (entry.message == "QZ server returned 500") found = entry.level == Platform::LOG_WARN;
  }
  EXPECT_TRUE(found) << log.Dump();
}

TEST_F(EndToEndTest, AServerThatNeverAnswersDoesNotHoldTheStopPastItsBound) {
  UseReceiver(false, "/qz");
  ASSERT_TRUE(receiver.Hold());
  ASSERT_TRUE(API::ApplicationStart(&config, kNoKeys));
  API::FeatureTick(QZ_TEXT("Zoom"), kNoKeys);
  // A pass in flight when the stop comes, and the last pass behind it.
  API::SendMessages();
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  const auto begin = std::chrono::steady_clock::now();
  API::ApplicationStop(kNoKeys);
  const auto took = std::chrono::duration_cast<std::chrono::milliseconds>(
                        std::chrono::steady_clock::now() - begin)
                        .count();
  receiver.Release();
  // The bound is the endpoint timeout plus 2000 ms; allow slack for a loaded machine.
  EXPECT_LT(took, 1500 + 2000 + 2500);
}

TEST_F(EndToEndTest, ManyThreadsReportingAtOnceLoseNothingTheQueueAccepted) {
  UseReceiver(false, "/qz");
  LogCapture log;
  FlowController flow;
  flow.SetMinimumInterval(1);
  // Host-identified, so every queued message is a tick and every drop is one.
  ASSERT_TRUE(config.SetDefaultIDs(QZ_TEXT("D23F0824-128B-4F33-8C5C-7FD0A6A3A450"), kOtherSession));
  ASSERT_TRUE(API::ApplicationStart(&config, &flow, kNoKeys));
  constexpr int kThreads = 4;
  constexpr int kTicks = 60;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([t] {
      for (int i = 0; i < kTicks; ++i) {
        ExtendedKeys keys;
        keys.Add(QZ_TEXT("n"), t * 1000 + i);
        API::FeatureTick(QZ_TEXT("Tick"), &keys);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  API::ApplicationStop(kNoKeys);

  std::multiset<std::string> ids;
  std::set<std::string> values;
  int ticks = 0;
  const int batches = receiver.Count();
  for (int b = 0; b < batches; ++b) {
    RecordedRequest request;
    ASSERT_TRUE(receiver.Request(b, request));
    const std::string& body = request.body;
    for (size_t pos = body.find("<feature"); pos != std::string::npos;
         pos = body.find("<feature", pos + 1)) {
      // Earlier tests' batches may still arrive late; count only this test's.
      if (Attribute(body, "name", pos) != "Tick") continue;
      ++ticks;
      ids.insert(Attribute(body, "id", pos));
      values.insert(Attribute(body, "value", pos));
    }
  }
  int dropped = log.Count("MessageQueue", "Queue overflow; message dropped");
  for (const auto& entry : log.Entries()) {
    if (entry.message.rfind("Dropping ", 0) == 0) dropped += std::stoi(entry.message.substr(9));
    EXPECT_EQ(std::string::npos, entry.message.find("QZ server returned")) << entry.message;
  }
  EXPECT_EQ(kThreads * kTicks, ticks + dropped) << log.Dump();
  EXPECT_EQ(static_cast<size_t>(ticks), values.size()) << "a message arrived twice";
  for (const std::string& id : ids) EXPECT_EQ(1u, ids.count(id)) << id;
}

}  // namespace
}  // namespace qz
