// A host's calls travel through the queue, the transmitter thread and the real
// transport to the loopback receiver; the test checks what arrived.
#include <gtest/gtest.h>

#include <chrono>
#include <regex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "platform/Platform.h"
#include "qz/API.h"
#include "qz/BinaryInfo.h"
#include "qz/Configuration.h"
#include "qz/ExceptionInfo.h"
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

const QZChar kCompany[] = QZ_TEXT("9531985D-5D9D-49F8-9818-E811892F902B");
const QZChar kApplication[] = QZ_TEXT("36F675CC-81E7-4EF5-A8E2-5D940ED90475");
const QZChar kSession[] = QZ_TEXT("6b0d549b-6f03-475a-9600-a35a099950d8");
const ExtendedKeys* const kNoKeys = nullptr;

// Names of the message elements of a batch body, in order.
std::vector<std::string> MessageNames(const std::string& body) {
  static const std::regex kMessage("<(app-start|app-stop|session-start|session-stop|feature)[ />\n]");
  std::vector<std::string> names;
  for (std::sregex_iterator i(body.begin(), body.end(), kMessage), end; i != end; ++i) {
    names.push_back((*i)[1]);
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
    UseReceiver(false, "/qz");
  }
  void TearDown() override {
    API::ApplicationStop(kNoKeys);
    receiver.Reset();
  }
  void UseReceiver(bool https, const std::string& path) {
    config.SetUseSSL(https);
    config.SetEndpointLocation(test::W(receiver.Location(https, path).c_str()).c_str());
  }

  test::Receiver receiver;
  Configuration config;
};

void CheckHeaders(const RecordedRequest& request, const std::string& group) {
  // Ours, in this order, each once; the client may add its own around them.
  PlatformInfo platform;
  Platform::GetPlatformInfo(platform);
  const std::vector<std::string> expected = {
      "Content-Type: text/xml;charset=UTF-8", "Cache-control: no-cache, no-store", "Pragma: no-cache",
      "Date: ", "X-QZ-CID: " + U8(kCompany), "X-QZ-AID: " + U8(kApplication), "X-QZ-GID: " + group,
      "X-QZ-API: " + U8(platform.name.ToString()) + "/" + U8(platform.version.ToString())};
  std::vector<std::string> ours;
  for (const std::string& line : request.headerLines) {
    for (const std::string& header : expected) {
      if (line.compare(0, header.find(':') + 1, header, 0, header.find(':') + 1) == 0) ours.push_back(line);
    }
  }
  ASSERT_EQ(8u, ours.size()) << ::testing::PrintToString(request.headerLines);
  for (size_t i = 0; i < 8; ++i) EXPECT_EQ(expected[i], i == 3 ? ours[i].substr(0, 6) : ours[i]);
  EXPECT_NE(std::string::npos, ours[3].find(" GMT")) << ours[3];
  ASSERT_EQ(1u, request.Values("Content-Length").size());
  EXPECT_EQ(std::to_string(request.body.size()), request.Values("Content-Length")[0]);
}

TEST_F(EndToEndTest, AWholeRunArrivesAsOneBatchOverHttpAndHttps) {
  for (bool https : {false, true}) {
    SCOPED_TRACE(https ? "https" : "http");
    ASSERT_TRUE(receiver.Reset());
    UseReceiver(https, "/Svc/Messaging.svc/Publish?tenant=7");
    BinaryInfo info;
    info.SetName(QZ_TEXT("editor.exe"));
    ExtendedKeys keys;
    keys.Add(QZ_TEXT("format"), QZ_TEXT("PDF \u00e9\u4e2d"));
    ASSERT_TRUE(API::ApplicationStart(&config, &info, &keys));
    const std::string group = U8(API::GetMessageGroup());
    API::SessionStart(kSession, &info, &keys);
    API::FeatureStart(QZ_TEXT("Export"), &info, &keys);
    API::FeatureTick(QZ_TEXT("Zoom"), kNoKeys);
    API::FeatureStop(QZ_TEXT("Export"), &info, &keys);
    API::SessionStop(kSession, kNoKeys);
    API::ApplicationStop(kNoKeys);

    // Nothing woke the transmitter early, so the stop pass sent everything at once.
    ASSERT_EQ(1, receiver.Count());
    RecordedRequest request;
    ASSERT_TRUE(receiver.Request(0, request));
    EXPECT_EQ("POST /Svc/Messaging.svc/Publish?tenant=7 HTTP/1.1", request.requestLine);
    CheckHeaders(request, group);
    const std::string& body = request.body;
    const std::vector<std::string> expected = {"app-start", "session-start", "session-start",
                                               "feature",   "feature",       "feature",
                                               "session-stop", "session-stop", "app-stop"};
    EXPECT_EQ(expected, MessageNames(body)) << body;
    EXPECT_EQ(0u, body.find("<messages xmlns:xsi=\"")) << body;
    EXPECT_EQ("3", Attribute(body, "protocol"));
    EXPECT_EQ(group, Attribute(body, "message-group"));
    for (const std::string& part :
         {"<company id=\"" + U8(kCompany) + "\" name=\"Example &amp; Sons\"/>\n",
          "<application id=\"" + U8(kApplication) + "\" name=\"Editor\" version=\"2.1\"/>\n",
          std::string("value=\"PDF &#xe9;&#x4e2d;\""),  // 7-bit text with character references
          std::string("session=\"6B0D549B-6F03-475A-9600-A35A099950D8\"")}) {
      EXPECT_NE(std::string::npos, body.find(part)) << part << "\n" << body;
    }
    EXPECT_EQ("</messages>\n", body.substr(body.size() - 12));
    // The start and stop of "Export" share the start's id as their group.
    const size_t start = body.rfind("<feature", body.find("event=\"start\""));
    const size_t stop = body.rfind("<feature", body.find("event=\"stop\""));
    EXPECT_EQ(Attribute(body, "id", start), Attribute(body, "group", start));
    EXPECT_EQ(Attribute(body, "id", start), Attribute(body, "group", stop));
  }
}

// The whole element that starts at the first "<name" after position from.
std::string Element(const std::string& text, const std::string& name, size_t from) {
  const size_t begin = text.find("<" + name, from);
  if (begin == std::string::npos) return "<missing>";
  const size_t lineEnd = text.find('\n', begin);
  const bool selfClosing = text.compare(lineEnd - 2, 2, "/>") == 0;
  const size_t end = selfClosing ? lineEnd : text.find("</" + name + ">\n", begin) + name.size() + 3;
  return text.substr(begin, end + 1 - begin);
}

TEST_F(EndToEndTest, BothApplicationMessagesDescribeTheSameHostAndUserAndFaultsAndProbesArrive) {
  config.SetOmitPersonalInfo(true);
  ASSERT_TRUE(API::ApplicationStart(&config, kNoKeys));
  BinaryInfo info;
  info.SetClassName(QZ_TEXT("Parser"));
  info.SetMethodName(QZ_TEXT("Load"));
  ExceptionInfo exception;
  exception.Type(QZ_TEXT("IOError"));
  API::ReportException(exception, &info, kNoKeys);
  API::PerformanceProbe(QZ_TEXT("Startup"), kNoKeys);
  API::ApplicationStop(kNoKeys);

  ASSERT_EQ(1, receiver.Count());
  RecordedRequest request;
  ASSERT_TRUE(receiver.Request(0, request));
  const std::string& body = request.body;
  const size_t start = body.find("<app-start ");
  const size_t stop = body.find("<app-stop ");
  ASSERT_NE(std::string::npos, start) << body;
  ASSERT_NE(std::string::npos, stop) << body;
  const std::string host = Element(body, "host", start);
  EXPECT_EQ(0u, host.find("<host ip=\"")) << host;
  EXPECT_NE(std::string::npos, host.find(">\n<os name=\"")) << host;
  EXPECT_EQ(host, Element(body, "host", stop));
  const std::string user = Element(body, "user", start);
  EXPECT_EQ(0u, user.find("<user name=\"")) << user;
  EXPECT_EQ(user, Element(body, "user", stop));

  const std::string fault = Element(body, "fault", 0);
  EXPECT_NE(std::string::npos, fault.find(" event=\"caught\">\n")) << fault;
  EXPECT_NE(std::string::npos,
            fault.find("<exception seq=\"0\" exceptionType=\"IOError\">\n"
                       "<stack seq=\"0\" type=\"Parser\" method=\"Load\"/>\n</exception>\n"))
      << fault;
  const std::string probe = Element(body, "performance-probe", 0);
  EXPECT_NE(std::string::npos, probe.find(" name=\"Startup\">\n<memory available=\"")) << probe;
}

TEST_F(EndToEndTest, EveryProfileCallArrivesWholeWithItsOwnIdButNoneWithoutOptIn) {
  LogCapture log;
  API::SystemProfile(kNoKeys);  // before the start
  ASSERT_TRUE(API::ApplicationStart(&config, kNoKeys));
  BinaryInfo info;
  info.SetName(QZ_TEXT("editor.exe"));
  API::SystemProfile(&info, kNoKeys);
  API::SystemProfile(kSession, nullptr, kNoKeys);
  API::SetOptIn(false);
  API::SystemProfile(kNoKeys);
  API::SetOptIn(true);
  API::ApplicationStop(kNoKeys);

  ASSERT_EQ(1, receiver.Count());
  RecordedRequest request;
  ASSERT_TRUE(receiver.Request(0, request));
  const std::string& body = request.body;
  std::vector<std::string> profiles;
  for (size_t at = body.find("<system-profile "); at != std::string::npos;
       at = body.find("<system-profile ", at + 1)) {
    profiles.push_back(Element(body, "system-profile", at));
  }
  ASSERT_EQ(2u, profiles.size()) << body;
  EXPECT_NE(Attribute(profiles[0], "id"), Attribute(profiles[1], "id"));
  EXPECT_EQ(Attribute(body, "message-group"), Attribute(profiles[0], "session"));
  EXPECT_EQ("6B0D549B-6F03-475A-9600-A35A099950D8", Attribute(profiles[1], "session"));
  EXPECT_NE(std::string::npos, profiles[0].find(">\n<binary name=\"editor.exe\"/>\n")) << profiles[0];
  for (const std::string& profile : profiles) {
    for (const char* element : {"<disk name=", "<domain member=", "<time-zone zone="}) {
      EXPECT_NE(std::string::npos, profile.find(element)) << element << "\n" << profile;
    }
  }
  for (const auto& entry : log.Entries()) EXPECT_NE("API::SystemProfile", entry.source);
}

TEST_F(EndToEndTest, FailedPostsAreLoggedWithTheStatus) {
  ASSERT_TRUE(receiver.SetStatus(500));
  LogCapture log;
  ASSERT_TRUE(API::ApplicationStart(&config, kNoKeys));
  API::ApplicationStop(kNoKeys);
  EXPECT_EQ(1, receiver.Count());
  bool found = false;
  for (const auto& entry : log.Entries()) {
    found |= entry.message == "QZ server returned 500" && entry.level == Platform::LOG_WARN;
  }
  EXPECT_TRUE(found) << log.Dump();
}

TEST_F(EndToEndTest, AServerThatNeverAnswersDoesNotHoldTheStopPastItsBound) {
  // Long enough that the pass in flight plus the last pass would outlast the
  // stop timeout if nothing cut the last one short.
  config.SetEndpointTimeout(3000);
  LogCapture log;
  ASSERT_TRUE(receiver.Hold());
  ASSERT_TRUE(API::ApplicationStart(&config, kNoKeys));
  API::FeatureTick(QZ_TEXT("Zoom"), kNoKeys);
  API::SendMessages();
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  const auto begin = std::chrono::steady_clock::now();
  API::ApplicationStop(kNoKeys);
  const auto took = std::chrono::steady_clock::now() - begin;
  receiver.Release();
  // The bound is the endpoint timeout plus 2000 ms; allow slack for a loaded machine.
  EXPECT_LT(took, std::chrono::milliseconds(3000 + 2000 + 2500));
  // Ended in time (or, on Windows, by force): never left running.
  EXPECT_FALSE(log.Contains("MessageQueue::Stop", "Transmitter thread abandoned")) << log.Dump();
}

TEST_F(EndToEndTest, ManyThreadsReportingAtOnceLoseNothingTheQueueAccepted) {
  LogCapture log;
  FlowController flow;
  flow.SetMinimumInterval(1);
  // Host-identified, so every queued message is a tick and every drop is one.
  ASSERT_TRUE(config.SetDefaultIDs(QZ_TEXT("D23F0824-128B-4F33-8C5C-7FD0A6A3A450"), kSession));
  ASSERT_TRUE(API::ApplicationStart(&config, &flow, kNoKeys));
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t] {
      for (int i = 0; i < 60; ++i) {
        ExtendedKeys keys;
        keys.Add(QZ_TEXT("n"), t * 1000 + i);
        API::FeatureTick(QZ_TEXT("Tick"), &keys);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  API::ApplicationStop(kNoKeys);

  std::multiset<std::string> values;
  for (int b = 0, batches = receiver.Count(); b < batches; ++b) {
    RecordedRequest request;
    ASSERT_TRUE(receiver.Request(b, request));
    const std::string& body = request.body;
    for (size_t pos = body.find("<feature"); pos != std::string::npos; pos = body.find("<feature", pos + 1)) {
      // Earlier tests' batches may still arrive late; count only this test's.
      if (Attribute(body, "name", pos) != "Tick") continue;
      values.insert(Attribute(body, "value", pos));
    }
  }
  int dropped = log.Count("MessageQueue", "Queue overflow; message dropped");
  for (const auto& entry : log.Entries()) {
    if (entry.message.rfind("Dropping ", 0) == 0) dropped += std::stoi(entry.message.substr(9));
    EXPECT_EQ(std::string::npos, entry.message.find("QZ server returned")) << entry.message;
  }
  EXPECT_EQ(4 * 60u, values.size() + dropped) << log.Dump();
  EXPECT_EQ(values.size(), std::set<std::string>(values.begin(), values.end()).size())
      << "a message arrived twice";
}

}  // namespace
}  // namespace qz
