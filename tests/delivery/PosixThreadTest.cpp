#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <thread>

#include "delivery/IRunnable.h"
#include "delivery/IThread.h"
#include "platform/Platform.h"
#include "support/LogCapture.h"

namespace qz {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

template <typename Done>
bool WaitUntil(Done done) {
  Clock::time_point end = Clock::now() + milliseconds(10000);
  while (!done()) {
    if (Clock::now() > end) return false;
    std::this_thread::sleep_for(milliseconds(5));
  }
  return true;
}

class Counter : public IRunnable {
 public:
  void Run() override { ++runs; }
  std::atomic<int> runs{0};
};

TEST(PosixThread, StartRunsOnceAndNeverAfterStop) {
  Counter never;
  std::unique_ptr<IThread> unstarted(Platform::NewThread(&never));
  Counter once;
  std::unique_ptr<IThread> thread(Platform::NewThread(&once));
  test::LogCapture log;

  // Nothing was created, so there is nothing to wait for or report.
  Clock::time_point begin = Clock::now();
  unstarted->Stop();
  EXPECT_LT(Clock::now() - begin, milliseconds(1000));
  EXPECT_TRUE(log.Entries().empty()) << log.Dump();
  unstarted->Start();

  thread->Start();
  thread->Start();
  EXPECT_EQ(log.Count("PosixThread::Start", "Thread already stopped"), 2) << log.Dump();
  ASSERT_TRUE(WaitUntil([&] { return once.runs.load() > 0; }));
  thread->Stop();
  EXPECT_EQ(once.runs, 1);
  EXPECT_EQ(never.runs, 0);
}

TEST(PosixThread, StopFromItsOwnThreadDoesNotWaitForItself) {
  struct SelfStopper : IRunnable {
    std::unique_ptr<IThread> thread{Platform::NewThread(this)};
    std::atomic<bool> returned{false};
    void Run() override {
      thread->Stop();
      returned = true;
    }
  };
  auto runnable = std::make_unique<SelfStopper>();
  runnable->thread->Start();
  ASSERT_TRUE(WaitUntil([&] { return runnable->returned.load(); }));
  EXPECT_FALSE(runnable->thread->HasEnded());
  runnable.reset();  // the detached thread keeps only its own control block
}

TEST(PosixThread, DestructorStopsARunningThread) {
  // Owned the way the library's runnables own their thread: the destructor
  // deletes it, and that Stop wakes and joins the loop before the runnable goes.
  struct Sleeper : IRunnable {
    IThread* const thread{Platform::NewThread(this)};
    std::atomic<bool> running{true};
    std::atomic<bool>* exited = nullptr;
    ~Sleeper() override { delete thread; }
    void Run() override {
      while (running) thread->Sleep(60000);
      *exited = true;
    }
  };
  std::atomic<bool> exited{false};
  {
    Sleeper sleeper;
    sleeper.exited = &exited;
    sleeper.thread->Start();
    sleeper.running = false;
  }
  EXPECT_TRUE(exited);
}

}  // namespace
}  // namespace qz
