#include <gtest/gtest.h>

#include <cstdint>

#include "platform/TestHooks.h"
#include "qz/FlowController.h"

namespace qz {
namespace {

uint64_t g_now = 0;
uint64_t FakeClock() { return g_now; }

class FlowControllerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    g_now = 1000000;
    previous_ = testhooks::SetClockOverride(&FakeClock);
  }
  void TearDown() override { testhooks::SetClockOverride(previous_); }

  // Moves the clock on by elapsed, then ends a pass that took count messages.
  uint32_t Pass(FlowController& f, uint64_t elapsed, size_t count) {
    g_now += elapsed;
    return f.GetInterval(count);
  }

  testhooks::ClockFunction previous_ = nullptr;
};

TEST_F(FlowControllerTest, SettersClamp) {
  FlowController f;
  f.SetQueueSize(0);
  EXPECT_EQ(3u, f.GetQueueSize());
  EXPECT_EQ(2u, f.GetHighWater());
  f.SetQueueSize(30);
  EXPECT_EQ(20u, f.GetHighWater());
  f.SetQueueSize(100);
  EXPECT_EQ(66u, f.GetHighWater());
  f.SetQueueSize(SIZE_MAX);  // two thirds must not overflow
  EXPECT_EQ(SIZE_MAX / 3 * 2, f.GetHighWater());

  f.SetQueueSize(30);
  f.SetHighWater(0);
  EXPECT_EQ(1u, f.GetHighWater());
  f.SetHighWater(30);
  EXPECT_EQ(29u, f.GetHighWater());

  f.SetMinimumInterval(50000);
  EXPECT_EQ(30000u, f.GetMinimumInterval());
  f.SetMaximumInterval(0);
  EXPECT_EQ(1u, f.GetMaximumInterval());
  EXPECT_EQ(1u, f.GetMinimumInterval());

  f.SetQuietGain(250);
  EXPECT_EQ(100u, f.GetQuietGain());
  f.SetGain(250);  // no upper limit
  EXPECT_EQ(250u, f.GetGain());
  f.SetRetryTimeout(-1);
  EXPECT_EQ(0, f.GetRetryTimeout());

  EXPECT_EQ(1u, f.MessagesToDrop(31));
  EXPECT_EQ(0u, f.MessagesToDrop(30));
}

TEST_F(FlowControllerTest, IntervalFollowsTheArrivalRate) {
  FlowController f;
  EXPECT_EQ(30000u, f.GetInterval(500));  // the first call ignores its argument
  EXPECT_EQ(11520u, Pass(f, 3000, 30));
  EXPECT_EQ(17618u, Pass(f, 5000, 0));

  FlowController g;
  g.GetInterval(0);
  EXPECT_EQ(10860u, Pass(g, 1000, 20));

  FlowController h;
  h.GetInterval(0);
  EXPECT_EQ(30000u, Pass(h, 30000, 5));
}

// Where 32-bit arithmetic would wrap, the interval ends at the nearer bound.
TEST_F(FlowControllerTest, IntervalSaturatesInsteadOfWrapping) {
  FlowController overshoot;
  overshoot.SetGain(250);
  overshoot.GetInterval(0);
  EXPECT_EQ(1u, Pass(overshoot, 1000, 20));  // 30000 - 72500: below zero, so the minimum

  FlowController longQuiet;
  longQuiet.SetQueueSize(SIZE_MAX);
  longQuiet.GetInterval(0);
  EXPECT_EQ(30000u, Pass(longQuiet, 100000000, 1));

  FlowController hugeGain;
  hugeGain.SetGain(UINT32_MAX);
  hugeGain.GetInterval(0);
  EXPECT_EQ(30000u, Pass(hugeGain, 4000000000u, 1));
}

TEST_F(FlowControllerTest, PausesAfterRepeatedFailures) {
  FlowController f;
  f.OnSend(false);
  f.OnSend(false);
  EXPECT_TRUE(f.OKToTransmit());
  f.OnSend(false);
  EXPECT_FALSE(f.OKToTransmit());
  g_now += 59999;
  EXPECT_FALSE(f.OKToTransmit());
  g_now += 1;
  EXPECT_TRUE(f.OKToTransmit());
  f.OnSend(false);  // a new pause from now
  EXPECT_FALSE(f.OKToTransmit());
  f.OnSend(true);
  EXPECT_TRUE(f.OKToTransmit());

}

TEST_F(FlowControllerTest, OfflineOrSendDisabledNeverTransmits) {
  FlowController disabled;
  disabled.SetSendDisabled(true);
  FlowController offline;
  offline.SetOffline(true);
  EXPECT_FALSE(disabled.OKToTransmit() || offline.OKToTransmit());
}

TEST_F(FlowControllerTest, ZeroLimitsChangeTheBackOff) {
  FlowController uncounted;
  uncounted.SetMaximumSequentialFailureCount(0);
  for (int i = 0; i < 5; ++i) uncounted.OnSend(false);
  EXPECT_TRUE(uncounted.OKToTransmit());
  uncounted.SetRetryTimeout(0);
  EXPECT_FALSE(uncounted.OKToTransmit());

  FlowController untilSuccess;
  untilSuccess.SetRetryTimeout(0);
  for (int i = 0; i < 3; ++i) untilSuccess.OnSend(false);
  g_now += 1000000000;
  EXPECT_FALSE(untilSuccess.OKToTransmit());
  untilSuccess.OnSend(true);
  EXPECT_TRUE(untilSuccess.OKToTransmit());
}

TEST_F(FlowControllerTest, AssignmentCopiesStateAndNullResetsIt) {
  FlowController used;
  used.SetQueueSize(10);
  used.SetMaximumInterval(5000);
  used.GetInterval(0);
  Pass(used, 100, 10);
  for (int i = 0; i < 3; ++i) used.OnSend(false);

  FlowController copy;
  copy = &used;
  EXPECT_EQ(10u, copy.GetQueueSize());
  EXPECT_FALSE(copy.OKToTransmit());               // the pause came along
  EXPECT_EQ(used.GetInterval(0), copy.GetInterval(0));  // so did the interval

  copy = nullptr;
  EXPECT_EQ(30u, copy.GetQueueSize());
  EXPECT_EQ(20u, copy.GetHighWater());
  EXPECT_EQ(30000u, copy.GetMaximumInterval());
  EXPECT_EQ(3u, copy.GetMaximumSequentialFailureCount());
  EXPECT_EQ(60000, copy.GetRetryTimeout());
  EXPECT_TRUE(copy.OKToTransmit());
  EXPECT_EQ(30000u, copy.GetInterval(20));  // a first call again
}

}  // namespace
}  // namespace qz
