#include "qz/API.h"

#include <gtest/gtest.h>

#include <atomic>
#include <random>
#include <thread>
#include <vector>

#include "api/RunState.h"
#include "platform/Platform.h"
#include "qz/BinaryInfo.h"
#include "qz/Configuration.h"
#include "qz/ExceptionInfo.h"
#include "qz/ExtendedKeys.h"
#include "qz/FlowController.h"
#include "support/LogCapture.h"
#include "support/TestText.h"

namespace qz {
namespace {

using test::LogCapture;
using test::U8;
using test::W;

const QZChar kCompany[] = QZ_TEXT("9531985D-5D9D-49F8-9818-E811892F902B");
const QZChar kApplication[] = QZ_TEXT("36F675CC-81E7-4EF5-A8E2-5D940ED90475");
const QZChar kGroupLower[] = QZ_TEXT("d23f0824-128b-4f33-8c5c-7fd0a6a3a450");
const QZChar kSessionLower[] = QZ_TEXT("6b0d549b-6f03-475a-9600-a35a099950d8");
const char kStartSource[] = "API::ApplicationStart";
const ExtendedKeys* const kNoKeys = nullptr;

// Every run in these tests posts to a closed loopback port, so the
// transmitter's passes fail at once and nothing waits on a network.
void MakeReachableNowhere(Configuration& config) {
  config.SetCompanyID(kCompany);
  config.SetApplicationID(kApplication);
  config.SetEndpointLocation(QZ_TEXT("127.0.0.1:9/qz"));
  config.SetUseSSL(false);
  config.SetEndpointTimeout(1000);
  config.SetSupportOfflineStorage(false);
}

class APITest : public ::testing::Test {
 protected:
  void SetUp() override { MakeReachableNowhere(config); }
  void TearDown() override {
    // Opt back in first: opting in after the stop would start a new run.
    API::SetOptIn(true);
    API::ApplicationStop(kNoKeys);
  }
  Configuration config;
};

bool IsUpperGuid(const QZChar* text) {
  if (text == nullptr) return false;
  const std::string s = U8(text);
  if (s.size() != 36) return false;
  for (size_t i = 0; i < s.size(); ++i) {
    const char c = s[i];
    if (i == 8 || i == 13 || i == 18 || i == 23) {
      if (c != '-') return false;
    } else if (!((c >= '0' && c <= '9') || (c >= 'A' && c <= 'F'))) {
      return false;
    }
  }
  return true;
}

TEST_F(APITest, RefusesIncompleteConfigurationsWithTheirLogLines) {
  LogCapture log;
  EXPECT_FALSE(API::ApplicationStart(nullptr, kNoKeys));
  Configuration empty;
  EXPECT_FALSE(API::ApplicationStart(&empty, kNoKeys));
  Configuration companyOnly;
  companyOnly.SetCompanyID(kCompany);
  EXPECT_FALSE(API::ApplicationStart(&companyOnly, kNoKeys));
  EXPECT_FALSE(API::IsApplicationStarted());

  const auto entries = log.Entries();
  ASSERT_EQ(3u, entries.size()) << log.Dump();
  EXPECT_EQ(Platform::LOG_ERROR, entries[0].level);
  EXPECT_EQ(kStartSource, entries[0].source);
  EXPECT_EQ("QZ not started: missing configuration", entries[0].message);
  EXPECT_EQ("QZ not started: Company ID not specified", entries[1].message);
  EXPECT_EQ("Application not started: Application ID not specified", entries[2].message);
}

TEST_F(APITest, OfflineWithoutStorageIsRefusedButTheConfigurationIsKept) {
  LogCapture log;
  config.SetOffline(true);
  config.SetSupportOfflineStorage(false);
  config.SetApplicationName(QZ_TEXT("Kept"));
  EXPECT_FALSE(API::ApplicationStart(&config, kNoKeys));
  EXPECT_EQ(1, log.Count(kStartSource,
                         "QZ not started: Offline mode set and Offline Storage not supported"))
      << log.Dump();
  EXPECT_EQ(W("Kept"), TheRun().configuration.GetApplicationName());
  EXPECT_FALSE(API::IsApplicationStarted());
}

TEST_F(APITest, OptInOffStoresTheConfigurationAndSetOptInStartsTheRun) {
  LogCapture log;
  config.SetOptIn(false);
  EXPECT_FALSE(API::ApplicationStart(&config, kNoKeys));
  EXPECT_TRUE(log.Entries().empty()) << log.Dump();
  EXPECT_FALSE(API::IsApplicationStarted());
  EXPECT_EQ(nullptr, API::GetDefaultSession());

  API::SetOptIn(true);
  EXPECT_TRUE(API::IsApplicationStarted());
  EXPECT_TRUE(IsUpperGuid(API::GetDefaultSession()));
}

TEST_F(APITest, LibraryIdentifiedRunUsesOneGuidForGroupAndSessionAndClearsItAtStop) {
  ASSERT_TRUE(API::ApplicationStart(&config, kNoKeys));
  const QZChar* session = API::GetDefaultSession();
  const QZChar* group = API::GetMessageGroup();
  ASSERT_TRUE(IsUpperGuid(session));
  EXPECT_EQ(U8(session), U8(group));
  const std::string first = U8(session);

  API::ApplicationStop(kNoKeys);
  EXPECT_EQ(nullptr, API::GetDefaultSession());
  EXPECT_EQ(nullptr, API::GetMessageGroup());
  EXPECT_EQ(W(""), TheRun().configuration.GetDefaultSession());

  ASSERT_TRUE(API::ApplicationStart(&config, kNoKeys));
  EXPECT_NE(first, U8(API::GetDefaultSession()));
}

TEST_F(APITest, HostIdentifiedRunKeepsItsIdentifiersInUpperCase) {
  ASSERT_TRUE(config.SetDefaultIDs(kGroupLower, kSessionLower));
  ASSERT_TRUE(API::ApplicationStart(&config, kNoKeys));
  EXPECT_EQ("6B0D549B-6F03-475A-9600-A35A099950D8", U8(API::GetDefaultSession()));
  EXPECT_EQ("D23F0824-128B-4F33-8C5C-7FD0A6A3A450", U8(API::GetMessageGroup()));
  EXPECT_TRUE(TheRun().externalIDs);
  API::ApplicationStop(kNoKeys);
  // The host owns them, so they survive the stop.
  EXPECT_EQ("6B0D549B-6F03-475A-9600-A35A099950D8", U8(TheRun().configuration.GetDefaultSession()));
}

TEST_F(APITest, SecondStartChangesNothing) {
  ASSERT_TRUE(API::ApplicationStart(&config, kNoKeys));
  const std::string group = U8(API::GetMessageGroup());
  Configuration other;
  MakeReachableNowhere(other);
  other.SetApplicationName(QZ_TEXT("Other"));
  EXPECT_TRUE(API::ApplicationStart(&other, kNoKeys));
  EXPECT_TRUE(API::ApplicationStart(nullptr, kNoKeys));
  EXPECT_EQ(group, U8(API::GetMessageGroup()));
  EXPECT_EQ(W(""), TheRun().configuration.GetApplicationName());
}

TEST_F(APITest, SendDisabledBeforeStartHasNoEffect) {
  API::SetSendDisabled(true);
  ASSERT_TRUE(API::ApplicationStart(&config, kNoKeys));
  EXPECT_FALSE(TheRun().configuration.IsSendDisabled());
  EXPECT_FALSE(TheRun().flowController.IsSendDisabled());
  API::SetSendDisabled(true);
  EXPECT_TRUE(TheRun().configuration.IsSendDisabled());
  EXPECT_TRUE(TheRun().flowController.IsSendDisabled());
}

TEST_F(APITest, TheRunCopiesFlowSettingsAndConfigurationFlags) {
  FlowController flow;
  flow.SetQueueSize(50);
  config.SetSendDisabled(true);
  ASSERT_TRUE(API::ApplicationStart(&config, &flow, kNoKeys));
  EXPECT_EQ(50u, TheRun().flowController.GetQueueSize());
  EXPECT_TRUE(TheRun().flowController.IsSendDisabled());
  EXPECT_FALSE(TheRun().flowController.IsSupportOfflineStorage());
}

TEST_F(APITest, EventOperationsCheckNamesAndSessions) {
  ASSERT_TRUE(API::ApplicationStart(&config, kNoKeys));
  LogCapture log;
  API::SessionStart(nullptr, kNoKeys);
  API::SessionStop(QZ_TEXT(""), kNoKeys);
  API::SessionStart(QZ_TEXT("{6B0D549B-6F03-475A-9600-A35A099950D8}"), kNoKeys);
  API::FeatureTick(nullptr, kNoKeys);
  API::FeatureStart(QZ_TEXT(""), kNoKeys);
  API::FeatureStop(QZ_TEXT("Export"), QZ_TEXT("not-a-guid"), nullptr, kNoKeys);
  API::PerformanceProbe(QZ_TEXT("probe"), QZ_TEXT("x"), nullptr, kNoKeys);
  // Valid calls log nothing.
  API::SessionStart(kSessionLower, kNoKeys);
  API::FeatureTick(QZ_TEXT("Export"), kNoKeys);

  EXPECT_EQ(1, log.Count("API::SessionStart", "invalid session ID - ")) << log.Dump();
  EXPECT_EQ(1, log.Count("API::SessionStop", "invalid session ID - "));
  EXPECT_EQ(1, log.Count("API::SessionStart",
                         "invalid session ID - {6B0D549B-6F03-475A-9600-A35A099950D8}"));
  EXPECT_EQ(1, log.Count("API::FeatureTick", "missing feature name"));
  EXPECT_EQ(1, log.Count("API::FeatureStart", "missing feature name"));
  EXPECT_EQ(1, log.Count("API::FeatureStop", "invalid session ID - not-a-guid"));
  EXPECT_EQ(1, log.Count("API::PerformanceProbe", "invalid session ID - x"));
  int fromApi = 0;
  for (const auto& entry : log.Entries()) fromApi += entry.source.rfind("API::", 0) == 0 ? 1 : 0;
  EXPECT_EQ(7, fromApi) << log.Dump();
}

TEST_F(APITest, EventOperationsDoNothingWithoutARunOrOptIn) {
  LogCapture log;
  API::SessionStart(nullptr, kNoKeys);
  API::FeatureTick(nullptr, kNoKeys);
  ASSERT_TRUE(API::ApplicationStart(&config, kNoKeys));
  API::SetOptIn(false);
  API::SessionStart(nullptr, kNoKeys);
  ExceptionInfo info;
  API::ReportException(info, kNoKeys);
  for (const auto& entry : log.Entries()) EXPECT_NE(0u, entry.source.rfind("API::", 0)) << log.Dump();
  // Opting out stops nothing.
  EXPECT_TRUE(API::IsApplicationStarted());
}

TEST_F(APITest, HostObjectsMayGoAsSoonAsACallReturns) {
  auto* hostConfig = new Configuration();
  MakeReachableNowhere(*hostConfig);
  auto* flow = new FlowController();
  auto* info = new BinaryInfo();
  info->SetName(QZ_TEXT("host.exe"));
  auto* keys = new ExtendedKeys();
  keys->Add(QZ_TEXT("k"), QZ_TEXT("v"));
  ASSERT_TRUE(API::ApplicationStart(hostConfig, flow, info, keys));
  delete hostConfig;
  delete flow;
  delete info;
  delete keys;

  for (int i = 0; i < 5; ++i) {
    auto* eventInfo = new BinaryInfo();
    eventInfo->SetMethodName(QZ_TEXT("Save"));
    auto* eventKeys = new ExtendedKeys();
    eventKeys->Add(QZ_TEXT("n"), i);
    API::FeatureStart(QZ_TEXT("Save"), eventInfo, eventKeys);
    API::FeatureTick(QZ_TEXT("Save"), eventInfo, eventKeys);
    API::FeatureStop(QZ_TEXT("Save"), eventInfo, eventKeys);
    delete eventInfo;
    delete eventKeys;
  }
  API::SendMessages();
  auto* stopKeys = new ExtendedKeys();
  stopKeys->Add(QZ_TEXT("reason"), QZ_TEXT("done"));
  API::ApplicationStop(stopKeys);
  delete stopKeys;
  EXPECT_FALSE(API::IsApplicationStarted());
}

TEST_F(APITest, StopWithoutARunDoesNothingAndTwiceIsHarmless) {
  LogCapture log;
  API::ApplicationStop(kNoKeys);
  ASSERT_TRUE(API::ApplicationStart(&config, kNoKeys));
  API::ApplicationStop(kNoKeys);
  API::ApplicationStop(kNoKeys);
  EXPECT_FALSE(API::IsApplicationStarted());
}

TEST_F(APITest, ManyHostThreadsAtOnce) {
  constexpr int kThreads = 6;
  constexpr int kRounds = 60;
  std::atomic<bool> go{false};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      std::minstd_rand random(static_cast<unsigned>(t) + 1);
      Configuration own;
      MakeReachableNowhere(own);
      BinaryInfo info;
      info.SetName(QZ_TEXT("worker"));
      ExtendedKeys keys;
      keys.Add(QZ_TEXT("thread"), t);
      while (!go.load()) std::this_thread::yield();
      for (int i = 0; i < kRounds; ++i) {
        switch (random() % 10) {
          case 0: API::ApplicationStart(&own, &info, &keys); break;
          case 1: if (random() % 4 == 0) API::ApplicationStop(&keys); break;
          case 2: API::SetOptIn(random() % 2 == 0); break;
          case 3: API::SetSendDisabled(random() % 2 == 0); break;
          case 4: API::SendMessages(); break;
          case 5: API::SessionStart(kSessionLower, &info, &keys); break;
          case 6: API::FeatureStart(QZ_TEXT("F"), &info, &keys); break;
          case 7: API::FeatureStop(QZ_TEXT("F"), &info, &keys); break;
          case 8: API::FeatureTick(QZ_TEXT("T"), &keys); break;
          default:
            API::IsApplicationStarted();
            API::GetDefaultSession();
            break;
        }
      }
    });
  }
  go.store(true);
  for (std::thread& thread : threads) thread.join();
  API::ApplicationStop(kNoKeys);
  EXPECT_FALSE(API::IsApplicationStarted());
}

}  // namespace
}  // namespace qz
