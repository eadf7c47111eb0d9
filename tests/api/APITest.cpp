#include "qz/API.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
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
#include "types/Guid.h"

namespace qz {
namespace {

using test::LogCapture;
using test::U8;
using test::W;

const QZChar kSessionLower[] = QZ_TEXT("6b0d549b-6f03-475a-9600-a35a099950d8");
const char kSessionUpper[] = "6B0D549B-6F03-475A-9600-A35A099950D8";
const ExtendedKeys* const kNoKeys = nullptr;

// Posts go to a closed loopback port, so passes fail at once and nothing waits.
void MakeReachableNowhere(Configuration& config) {
  config.SetCompanyID(QZ_TEXT("9531985D-5D9D-49F8-9818-E811892F902B"));
  config.SetApplicationID(QZ_TEXT("36F675CC-81E7-4EF5-A8E2-5D940ED90475"));
  config.SetEndpointLocation(QZ_TEXT("127.0.0.1:9/qz"));
  config.SetUseSSL(false);
  config.SetEndpointTimeout(1000);
  config.SetSupportOfflineStorage(false);
}

bool IsUpperGuid(const QZChar* text) {
  return text != nullptr && IsValidGUID(text) &&
         U8(text).find_first_of("abcdef") == std::string::npos;
}

class APITest : public ::testing::Test {
 protected:
  void SetUp() override { MakeReachableNowhere(config); }
  void TearDown() override {
    API::SetOptIn(true);  // first: opting in after the stop would start a new run
    API::ApplicationStop(kNoKeys);
  }
  Configuration config;
};

TEST_F(APITest, RefusedStartsLogWhyAndKeepTheConfiguration) {
  Configuration empty, companyOnly, offline;
  MakeReachableNowhere(offline);
  companyOnly.SetCompanyID(QZ_TEXT("9531985D-5D9D-49F8-9818-E811892F902B"));
  offline.SetOffline(true);
  offline.SetApplicationName(QZ_TEXT("Kept"));
  const int32_t error = Platform::LOG_ERROR;
  const struct { Configuration* config; int32_t level; const char* message; } cases[] = {
      {nullptr, error, "QZ not started: missing configuration"},
      {&empty, error, "QZ not started: Company ID not specified"},
      {&companyOnly, error, "Application not started: Application ID not specified"},
      {&offline, Platform::LOG_INFO, "QZ not started: Offline mode set and Offline Storage not supported"}};
  for (const auto& c : cases) {
    LogCapture log;
    EXPECT_FALSE(API::ApplicationStart(c.config, kNoKeys));
    ASSERT_EQ(1u, log.Entries().size()) << log.Dump();
    EXPECT_EQ(c.level, log.Entries()[0].level);
    EXPECT_EQ(1, log.Count("API::ApplicationStart", c.message)) << log.Dump();
  }
  EXPECT_FALSE(API::IsApplicationStarted());
  EXPECT_EQ(W("Kept"), TheRun().configuration.GetApplicationName());
}

TEST_F(APITest, OptInOffStoresTheConfigurationAndSetOptInStartsTheRun) {
  LogCapture log;
  config.SetOptIn(false);
  EXPECT_FALSE(API::ApplicationStart(&config, kNoKeys));
  EXPECT_TRUE(log.Entries().empty()) << log.Dump();
  EXPECT_FALSE(API::IsApplicationStarted());
  API::SetOptIn(true);
  EXPECT_TRUE(API::IsApplicationStarted());
  EXPECT_TRUE(IsUpperGuid(API::GetDefaultSession()));
}

TEST_F(APITest, GeneratedIdentifiersAreOneGuidClearedAtStopAndHostOnesAreKept) {
  ASSERT_TRUE(API::ApplicationStart(&config, kNoKeys));
  const std::string first = U8(API::GetDefaultSession());
  EXPECT_TRUE(IsUpperGuid(API::GetDefaultSession()));
  EXPECT_EQ(first, U8(API::GetMessageGroup()));
  API::ApplicationStop(kNoKeys);
  EXPECT_EQ(nullptr, API::GetDefaultSession());
  EXPECT_EQ(nullptr, API::GetMessageGroup());
  EXPECT_EQ(W(""), TheRun().configuration.GetDefaultSession());

  ASSERT_TRUE(config.SetDefaultIDs(QZ_TEXT("d23f0824-128b-4f33-8c5c-7fd0a6a3a450"), kSessionLower));
  ASSERT_TRUE(API::ApplicationStart(&config, kNoKeys));
  EXPECT_EQ(kSessionUpper, U8(API::GetDefaultSession()));
  EXPECT_EQ("D23F0824-128B-4F33-8C5C-7FD0A6A3A450", U8(API::GetMessageGroup()));
  API::ApplicationStop(kNoKeys);
  EXPECT_EQ(kSessionUpper, U8(TheRun().configuration.GetDefaultSession()));
}

TEST_F(APITest, SendDisabledBeforeStartSecondStartAndSecondStopChangeNothing) {
  API::SetSendDisabled(true);
  ASSERT_TRUE(API::ApplicationStart(&config, kNoKeys));
  EXPECT_FALSE(TheRun().flowController.IsSendDisabled());
  const std::string group = U8(API::GetMessageGroup());
  Configuration other;
  MakeReachableNowhere(other);
  other.SetApplicationName(QZ_TEXT("Other"));
  EXPECT_TRUE(API::ApplicationStart(&other, kNoKeys));
  EXPECT_TRUE(API::ApplicationStart(nullptr, kNoKeys));
  EXPECT_EQ(group, U8(API::GetMessageGroup()));
  EXPECT_EQ(W(""), TheRun().configuration.GetApplicationName());
  API::SetSendDisabled(true);
  EXPECT_TRUE(TheRun().configuration.IsSendDisabled() && TheRun().flowController.IsSendDisabled());
  API::ApplicationStop(kNoKeys);
  API::ApplicationStop(kNoKeys);
  EXPECT_FALSE(API::IsApplicationStarted());
}

TEST_F(APITest, EventOperationsRefuseBadNamesAndSessions) {
  const struct { void (*call)(); const char* source; const char* message; } cases[] = {
      {[] { API::SessionStart(nullptr, kNoKeys); }, "API::SessionStart", "invalid session ID - "},
      {[] { API::SessionStop(QZ_TEXT(""), kNoKeys); }, "API::SessionStop", "invalid session ID - "},
      {[] { API::SessionStart(QZ_TEXT("{6B0D549B-6F03-475A-9600-A35A099950D8}"), kNoKeys); },
       "API::SessionStart", "invalid session ID - {6B0D549B-6F03-475A-9600-A35A099950D8}"},
      {[] { API::FeatureTick(nullptr, kNoKeys); }, "API::FeatureTick", "missing feature name"},
      {[] { API::FeatureStart(QZ_TEXT(""), kNoKeys); }, "API::FeatureStart", "missing feature name"},
      {[] { API::FeatureStop(QZ_TEXT("E"), QZ_TEXT("not-a-guid"), nullptr, kNoKeys); },
       "API::FeatureStop", "invalid session ID - not-a-guid"},
      {[] { API::PerformanceProbe(QZ_TEXT("p"), QZ_TEXT("x"), nullptr, kNoKeys); },
       "API::PerformanceProbe", "invalid session ID - x"},
      {[] { API::ReportException(ExceptionInfo(), QZ_TEXT("x"), nullptr, kNoKeys); },
       "API::ReportException", "invalid session ID - x"},
      {[] { API::SystemProfile(QZ_TEXT("abc"), nullptr, kNoKeys); }, "API::SystemProfile",
       "invalid session ID - abc"},
      {[] { API::ReportException(static_cast<const ExceptionInfo*>(nullptr), kNoKeys); }, "", nullptr},
      {[] { API::SessionStart(kSessionLower, kNoKeys); }, "", nullptr},
      {[] { API::FeatureTick(QZ_TEXT("Export"), kNoKeys); }, "", nullptr}};
  for (bool started : {false, true}) {  // without a run every call is silently nothing
    if (started) {
      ASSERT_TRUE(API::ApplicationStart(&config, kNoKeys));
    }
    for (const auto& c : cases) {
      LogCapture log;
      c.call();
      int fromApi = 0;
      for (const auto& entry : log.Entries()) fromApi += entry.source.rfind("API::", 0) == 0;
      const int refused = started && c.message != nullptr ? 1 : 0;
      EXPECT_EQ(refused, fromApi) << log.Dump();
      EXPECT_EQ(refused, log.Count(c.source, c.message ? c.message : "")) << log.Dump();
    }
  }
}

TEST_F(APITest, HostObjectsMayGoAsSoonAsACallReturns) {
  // Every object is a temporary freed right after the call; ASan sees any later use.
  auto info = [] { auto i = std::make_unique<BinaryInfo>(); i->SetName(QZ_TEXT("host.exe")); return i; };
  auto keys = [](int n) { auto k = std::make_unique<ExtendedKeys>(); k->Add(QZ_TEXT("n"), n); return k; };
  auto hostConfig = std::make_unique<Configuration>();
  MakeReachableNowhere(*hostConfig);
  ASSERT_TRUE(API::ApplicationStart(hostConfig.get(), std::make_unique<FlowController>().get(),
                                    info().get(), keys(0).get()));
  hostConfig.reset();
  for (int i = 0; i < 5; ++i) {
    API::FeatureStart(QZ_TEXT("Save"), info().get(), keys(i).get());
    API::FeatureTick(QZ_TEXT("Save"), info().get(), keys(i).get());
    API::FeatureStop(QZ_TEXT("Save"), info().get(), keys(i).get());
    API::ReportException(*std::make_unique<ExceptionInfo>(), info().get(), keys(i).get());
    API::PerformanceProbe(QZ_TEXT("Probe"), info().get(), keys(i).get());
  }
  API::SystemProfile(info().get(), keys(7).get());
  API::SendMessages();
  API::ApplicationStop(keys(9).get());
  EXPECT_FALSE(API::IsApplicationStarted());
}

TEST_F(APITest, ManyHostThreadsAtOnce) {
  std::atomic<bool> go{false};
  std::vector<std::thread> threads;
  for (int t = 0; t < 6; ++t) {
    threads.emplace_back([&, t] {
      std::minstd_rand random(static_cast<unsigned>(t) + 1);
      Configuration own;
      MakeReachableNowhere(own);
      BinaryInfo info;
      info.SetName(QZ_TEXT("worker"));
      ExtendedKeys keys;
      keys.Add(QZ_TEXT("thread"), t);
      while (!go.load()) std::this_thread::yield();
      for (int i = 0; i < 60; ++i) {
        switch (random() % 13) {
          case 0: API::ApplicationStart(&own, &info, &keys); break;
          case 1: if (random() % 4 == 0) API::ApplicationStop(&keys); break;
          case 2: API::SetOptIn(random() % 2 == 0); break;
          case 3: API::SetSendDisabled(random() % 2 == 0); break;
          case 4: API::SendMessages(); break;
          case 5: API::SessionStart(kSessionLower, &info, &keys); break;
          case 6: API::FeatureStart(QZ_TEXT("F"), &info, &keys); break;
          case 7: API::FeatureStop(QZ_TEXT("F"), &info, &keys); break;
          case 8: API::FeatureTick(QZ_TEXT("T"), &keys); break;
          case 9: API::PerformanceProbe(QZ_TEXT("P"), &keys); break;
          case 10: API::ReportException(ExceptionInfo(), &info, &keys); break;
          case 11: if (random() % 6 == 0) API::SystemProfile(&info, &keys); break;  // slow
          default: API::GetDefaultSession(); break;
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
