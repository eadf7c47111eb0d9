// Every number a host hands over, at its largest and smallest: nothing
// overflows (the sanitizer stages abort on undefined behaviour), and a run
// set up that way still starts, sends and stops.
#include <gtest/gtest.h>

#include <cfloat>
#include <chrono>
#include <climits>
#include <cmath>
#include <cstdint>
#include <string>
#include <thread>

#include "delivery/TransmitterThread.h"
#include "offline/OfflineStorageSenderThread.h"
#include "qz/API.h"
#include "qz/BinaryInfo.h"
#include "qz/Configuration.h"
#include "qz/ExceptionInfo.h"
#include "qz/ExtendedKeys.h"
#include "qz/FlowController.h"
#include "qz/qz_flat.h"
#include "support/Receiver.h"
#include "support/TestText.h"

namespace qz {
namespace {

const QZChar kCompany[] = QZ_TEXT("9531985D-5D9D-49F8-9818-E811892F902B");
const QZChar kApplication[] = QZ_TEXT("36F675CC-81E7-4EF5-A8E2-5D940ED90475");

TEST(Limits, StopTimeoutsAreTheEndpointTimeoutPlus2000AsFarAs32BitsReach) {
  struct Case {
    long endpointTimeout;  // NOLINT(runtime/int)
    uint32_t stopTimeout;
  };
  const Case cases[] = {{LONG_MIN, 12000},          {0, 12000},
                        {1, 2001},                  {INT32_MAX - 2000, INT32_MAX},
                        {INT32_MAX - 1999, INT32_MAX}, {INT32_MAX, INT32_MAX},
                        {LONG_MAX, INT32_MAX}};
  FlowController flow;
  for (const Case& c : cases) {
    Configuration config;
    config.SetEndpointTimeout(c.endpointTimeout);
    TransmitterThread transmitter(&config, &flow, nullptr);
    OfflineStorageSenderThread sender(&config, &flow);
    EXPECT_EQ(c.stopTimeout, transmitter.GetStopTimeout()) << c.endpointTimeout;
    EXPECT_EQ(c.stopTimeout, sender.GetStopTimeout()) << c.endpointTimeout;
    // Started, so that they end at once: a Windows thread that never ran
    // would be waited for as long as that timeout.
    transmitter.Start();
    sender.Start();
  }
}

class LimitsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    API::ApplicationStop(nullptr);
    std::string why;
    if (!receiver.Connect(&why)) GTEST_SKIP() << why;
    ASSERT_TRUE(receiver.Reset());
  }
  void TearDown() override {
    API::ApplicationStop(nullptr);
    API::SetLogLevel(API::LOG_ERROR);
    receiver.Reset();
  }

  // Starts a run whose every number is at one end of its range, reports one
  // event of each kind with such numbers, and stops it.
  void RunAtTheExtremes(bool largest) {
    Configuration* config = CreateConfiguration();
    config->SetCompanyID(kCompany);
    config->SetApplicationID(kApplication);
    config->SetSupportOfflineStorage(false);
    config->SetUseSSL(false);
    config->SetEndpointLocation(test::W(receiver.Location(false, "/qz").c_str()).c_str());
    SetEndpointTimeout(config, largest ? LONG_MAX : LONG_MIN);

    // Through the flat functions, which widen their ints on the way.
    FlowController* flow = CreateFlowController();
    SetFlowControllerQueueSize(flow, largest ? INT_MAX : INT_MIN);
    SetFlowControllerHighWater(flow, largest ? INT_MAX : INT_MIN);
    flow->SetQueueSize(largest ? SIZE_MAX : 0);
    flow->SetHighWater(largest ? SIZE_MAX : 0);
    SetFlowControllerMaximumInterval(flow, largest ? UINT_MAX : 0);
    SetFlowControllerMinimumInterval(flow, largest ? UINT_MAX : 0);
    SetFlowControllerGain(flow, largest ? UINT_MAX : 0);
    SetFlowControllerQuietGain(flow, largest ? UINT_MAX : 0);
    SetFlowControllerMaximumSequentialFailureCount(flow, largest ? UINT_MAX : 0);
    SetFlowControllerRetryTimeout(flow, largest ? LONG_MAX : LONG_MIN);

    BinaryInfo info;
    info.SetModifiedDate(largest ? UINT64_MAX : 1);
    ExtendedKeys keys;
    keys.Add(QZ_TEXT("int"), largest ? INT32_MAX : INT32_MIN);
    keys.Add(QZ_TEXT("long"), largest ? LONG_MAX : LONG_MIN);
    keys.Add(QZ_TEXT("float"), largest ? FLT_MAX : -INFINITY);
    keys.Add(QZ_TEXT("double"), largest ? DBL_MAX : -DBL_MAX);
    keys.Add(QZ_TEXT("nan"), std::nan(""));
    ExceptionInfo exception;
    exception.SetEventType(largest ? INT32_MAX : INT32_MIN);
    API::SetLogLevel(largest ? INT_MAX : INT_MIN);

    ASSERT_TRUE(API::ApplicationStart(config, flow, &info, &keys));
    API::FeatureTick(QZ_TEXT("Export"), &info, &keys);
    API::ReportException(exception, &info, &keys);
    API::PerformanceProbe(QZ_TEXT("Render"), &info, &keys);
    API::SendMessages();
    // A stop that waits as long as the timeouts allow would hang here.
    const auto before = std::chrono::steady_clock::now();
    API::ApplicationStop(&info, &keys);
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(60));
    DeleteFlowController(flow);
    DeleteConfiguration(config);
  }

  test::Receiver receiver;
};

TEST_F(LimitsTest, LargestNumbersStillMakeARunThatSends) {
  RunAtTheExtremes(true);
  ASSERT_GE(receiver.Count(), 1);
  std::string bodies;
  for (int i = 0; i < receiver.Count(); ++i) {
    test::RecordedRequest request;
    ASSERT_TRUE(receiver.Request(i, request));
    bodies += request.body;
  }
  EXPECT_NE(std::string::npos, bodies.find("value=\"2147483647\""));
  EXPECT_NE(std::string::npos, bodies.find("value=\"" + std::to_string(LONG_MAX) + "\""));
  // A modification time past year 9999 has no text, so it is left out.
  EXPECT_NE(std::string::npos, bodies.find("<feature "));
  EXPECT_EQ(std::string::npos, bodies.find("modified=")) << bodies;
}

// With no failure allowed and no pause to wait out, nothing may be sent at all.
TEST_F(LimitsTest, SmallestNumbersMakeARunThatStartsAndStops) {
  RunAtTheExtremes(false);
  EXPECT_EQ(0, receiver.Count());
}

}  // namespace
}  // namespace qz
