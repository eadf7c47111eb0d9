// The probe's processor load on Linux: the choice of window over recorded
// samples, and the library's waiting threads keeping samples a second apart.
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "delivery/IRunnable.h"
#include "delivery/PosixThread.h"
#include "platform/PosixLoadSampler.h"

namespace qz {
namespace {

LoadSample At(uint64_t millis, uint64_t busy, uint64_t total) {
  LoadSample sample;
  sample.millis = millis;
  sample.busyTicks = busy;
  sample.totalTicks = total;
  sample.memoryRead = true;
  return sample;
}

uint32_t LoadUntil(const LoadHistory& history, const LoadSample& end, uint64_t shortest = 1,
                   uint64_t longest = LoadHistory::kLongestWindowMs) {
  uint32_t percent = 999;
  return history.LoadUntil(end, shortest, longest, percent) ? percent : 999;
}

TEST(PosixLoadSamplerTest, ProbesASecondApartSeeTheLoadOfTheirOwnSecond) {
  // Two processors: idle for a second, then busy for a second, a quarter busy after.
  LoadHistory history;
  history.Record(At(0, 0, 0));
  history.Record(At(1000, 0, 200));
  history.Record(At(2000, 200, 400));
  history.Record(At(3000, 250, 600));
  EXPECT_EQ(0u, LoadUntil(history, At(1000, 0, 200), 500, 2000));
  EXPECT_EQ(100u, LoadUntil(history, At(2000, 200, 400), 500, 2000));
  EXPECT_EQ(25u, LoadUntil(history, At(3000, 250, 600), 500, 2000));
  // A moment after the last sample: still about the last second, not the
  // moment since the last sample.
  EXPECT_EQ(25u, LoadUntil(history, At(3010, 252, 602)));

  // Closest to a second by ratio: a tenth of a second beats half a minute.
  LoadHistory afterStart;
  afterStart.Record(At(0, 0, 0));          // the library loaded
  afterStart.Record(At(30000, 600, 6000));  // the run started
  EXPECT_EQ(100u, LoadUntil(afterStart, At(30100, 620, 6020)));
  // Nothing in range, nothing counted in between, or counters that went back.
  EXPECT_EQ(999u, LoadUntil(afterStart, At(30100, 620, 6020), 500, 2000));
  EXPECT_EQ(999u, LoadUntil(afterStart, At(30005, 600, 6000), 1, 1000));
  EXPECT_EQ(999u, LoadUntil(afterStart, At(31000, 590, 6100), 500, 2000));
  EXPECT_EQ(999u, LoadUntil(LoadHistory(), At(1000, 1, 2)));
}

TEST(PosixLoadSamplerTest, FrequentSamplesCannotPushOutTheOlderOnes) {
  LoadHistory history;
  for (uint64_t ms = 0; ms < 1000; ms += 10) history.Record(At(ms, ms, 2 * ms));
  // Kept: 0, 250, 500, 750; a later sample before the newest is dropped too.
  history.Record(At(600, 0, 0));
  EXPECT_EQ(50u, LoadUntil(history, At(1750, 1750, 3500), 1000, 1000));
  // Eight kept: after ten more seconds the first ones are gone.
  for (uint64_t ms = 1000; ms <= 10000; ms += 1000) history.Record(At(ms, ms, 2 * ms));
  EXPECT_EQ(999u, LoadUntil(history, At(10000, 10000, 20000), 8500));
  EXPECT_EQ(50u, LoadUntil(history, At(10000, 10000, 20000), 7000));

  LoadSample fresh;
  EXPECT_TRUE(history.Fresh(11500, true, fresh));
  EXPECT_EQ(10000u, fresh.millis);
  EXPECT_FALSE(history.Fresh(11501, true, fresh));
  // A probe's own reading carries no memory figures.
  LoadSample ticksOnly = At(11000, 11000, 22000);
  ticksOnly.memoryRead = false;
  history.Record(ticksOnly);
  EXPECT_TRUE(history.Fresh(11200, true, fresh));
  EXPECT_EQ(10000u, fresh.millis);
  EXPECT_TRUE(history.Fresh(11200, false, fresh));
  EXPECT_EQ(11000u, fresh.millis);
}

// Waits in its thread until told to end.
class Sleeper : public IRunnable {
 public:
  Sleeper() : thread(this) {}
  ~Sleeper() override { End(); }
  void Start() { thread.Start(); }
  void End() {
    running.store(false);
    thread.Stop();
  }
  void Run() override {
    while (running.load()) thread.Sleep(60000);
  }

 private:
  std::atomic<bool> running{true};
  PosixThread thread;
};

// At least count more samples taken, within a generous bound.
bool WaitForSamples(uint64_t count) {
  PosixLoadSampler& sampler = PosixLoadSampler::Instance();
  const uint64_t target = sampler.Attempts() + count;
  const auto give_up = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  while (sampler.Attempts() < target) {
    if (std::chrono::steady_clock::now() > give_up) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return true;
}

TEST(PosixLoadSamplerTest, OneWaitingThreadSamplesAndAnotherTakesOverWhenItIsHeldUp) {
  // Moments given, nothing read: no sample has been taken (the last at 0).
  PosixLoadSampler sampler;
  int a = 0;
  int b = 0;
  int c = 0;
  EXPECT_EQ(1000u, sampler.NextSampleFor(&a, 0));  // the first to ask samples
  EXPECT_EQ(PosixLoadSampler::kTakeOverMs, sampler.NextSampleFor(&b, 500));
  EXPECT_EQ(1000u, sampler.NextSampleFor(&a, 600));
  // a took no sample for kTakeOverMs: b takes over, due at once.
  EXPECT_EQ(1000u, sampler.NextSampleFor(&b, PosixLoadSampler::kTakeOverMs));
  sampler.Release(&a);  // no longer its to release
  EXPECT_EQ(PosixLoadSampler::kTakeOverMs, sampler.NextSampleFor(&c, 10));
  sampler.Release(&b);
  EXPECT_EQ(1000u, sampler.NextSampleFor(&c, 20));
}

TEST(PosixLoadSamplerTest, AWaitingThreadSamplesAboutOnceASecond) {
  Sleeper sleeper;
  sleeper.Start();
  EXPECT_TRUE(WaitForSamples(2)) << "a thread waiting a minute took no samples";
}

TEST(PosixLoadSamplerTest, AForkedChildMeasuresWithoutTheParentsThreads) {
  Sleeper sampling;
  sampling.Start();
  ASSERT_TRUE(WaitForSamples(1));
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    MemoryUseInfo use;
    PosixLoadSampler::Instance().GetMemoryUse(use);
    PosixLoadSampler::Instance().CpuLoad();
    _exit(use.usedMB > 0 ? 0 : 1);
  }
  int status = 0;
  const auto give_up = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  while (waitpid(child, &status, WNOHANG) == 0) {
    if (std::chrono::steady_clock::now() > give_up) {
      kill(child, SIGKILL);
      waitpid(child, &status, 0);
      FAIL() << "the child hung";
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

}  // namespace
}  // namespace qz
