#include <gtest/gtest.h>

#include <climits>
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
  static uint32_t Pass(FlowController& f, uint64_t elapsed, size_t count) {
    g_now += elapsed;
    return f.GetInterval(count);
  }

  testhooks::ClockFunction previous_ = nullptr;
};

TEST_F(FlowControllerTest, SettersClamp) {
  FlowController f;
  // The high-water mark follows at two thirds; a huge size must not overflow.
  const size_t sizes[][3] = {{0, 3, 2}, {30, 30, 20}, {100, 100, 66}, {SIZE_MAX, SIZE_MAX, SIZE_MAX / 3 * 2}};
  for (const auto& s : sizes) {
    f.SetQueueSize(s[0]);
    EXPECT_EQ(s[1], f.GetQueueSize());
    EXPECT_EQ(s[2], f.GetHighWater()) << s[0];
  }
  f.SetQueueSize(30);
  f.SetHighWater(0);
  EXPECT_EQ(1u, f.GetHighWater());
  f.SetHighWater(30);
  EXPECT_EQ(29u, f.GetHighWater());
  EXPECT_EQ(1u, f.MessagesToDrop(31));
  EXPECT_EQ(0u, f.MessagesToDrop(30));

  f.SetMinimumInterval(50000);
  EXPECT_EQ(30000u, f.GetMinimumInterval());
  f.SetMaximumInterval(0);
  EXPECT_EQ(1u, f.GetMaximumInterval());
  EXPECT_EQ(1u, f.GetMinimumInterval());
  f.SetQuietGain(250);
  EXPECT_EQ(100u, f.GetQuietGain());
  f.SetRetryTimeout(LONG_MIN);
  EXPECT_EQ(0, f.GetRetryTimeout());
  f.SetRetryTimeout(LONG_MAX);  // a 64-bit long is capped, not cut to its low bits
  EXPECT_EQ(INT32_MAX, f.GetRetryTimeout());
}

TEST_F(FlowControllerTest, IntervalFollowsTheArrivalRate) {
  FlowController f, g, h;
  EXPECT_EQ(30000u, f.GetInterval(500));  // the first call ignores its argument
  EXPECT_EQ(11520u, Pass(f, 3000, 30));
  EXPECT_EQ(17618u, Pass(f, 5000, 0));
  g.GetInterval(0);
  EXPECT_EQ(10860u, Pass(g, 1000, 20));
  h.GetInterval(0);
  EXPECT_EQ(30000u, Pass(h, 30000, 5));
}

// Where 32-bit arithmetic would wrap, the interval ends at the nearer bound.
TEST_F(FlowControllerTest, IntervalSaturatesInsteadOfWrapping) {
  FlowController overshoot, longQuiet, hugeGain;
  overshoot.SetGain(250);
  overshoot.GetInterval(0);
  EXPECT_EQ(1u, Pass(overshoot, 1000, 20));  // 30000 - 72500: below zero, so the minimum
  longQuiet.SetQueueSize(SIZE_MAX);
  longQuiet.GetInterval(0);
  EXPECT_EQ(30000u, Pass(longQuiet, 100000000, 1));
  hugeGain.SetGain(UINT32_MAX);
  hugeGain.GetInterval(0);
  EXPECT_EQ(30000u, Pass(hugeGain, 4000000000u, 1));
}

TEST_F(FlowControllerTest, PausesAfterRepeatedFailuresAndTheCopyKeepsThePause) {
  FlowController f;
  f.OnSend(false);
  f.OnSend(false);
  EXPECT_TRUE(f.OKToTransmit());
  f.OnSend(false);
  EXPECT_FALSE(f.OKToTransmit());
  FlowController copy;
  copy = &f;
  EXPECT_FALSE(copy.OKToTransmit());
  g_now += 59999;
  EXPECT_FALSE(f.OKToTransmit());
  g_now += 1;
  EXPECT_TRUE(f.OKToTransmit());
  f.OnSend(false);  // a new pause from now
  EXPECT_FALSE(f.OKToTransmit());
  f.OnSend(true);
  EXPECT_TRUE(f.OKToTransmit());
  copy = nullptr;
  EXPECT_TRUE(copy.OKToTransmit());

  FlowController disabled, offline;
  disabled.SetSendDisabled(true);
  offline.SetOffline(true);
  EXPECT_FALSE(disabled.OKToTransmit() || offline.OKToTransmit());
}

TEST_F(FlowControllerTest, ZeroLimitsChangeTheBackOff) {
  FlowController uncounted, untilSuccess;
  uncounted.SetMaximumSequentialFailureCount(0);
  for (int i = 0; i < 5; ++i) uncounted.OnSend(false);
  EXPECT_TRUE(uncounted.OKToTransmit());
  untilSuccess.SetRetryTimeout(0);
  for (int i = 0; i < 3; ++i) untilSuccess.OnSend(false);
  g_now += 1000000000;
  EXPECT_FALSE(untilSuccess.OKToTransmit());
  untilSuccess.OnSend(true);
  EXPECT_TRUE(untilSuccess.OKToTransmit());
}

}  // namespace
}  // namespace qz
