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

using std::chrono::milliseconds;

TEST(PosixThread, AThreadNeverStartedStopsAtOnceAndSilently) {
  struct Never : IRunnable {
    void Run() override { ADD_FAILURE() << "ran after Stop"; }
  } never;
  std::unique_ptr<IThread> thread(Platform::NewThread(&never));
  test::LogCapture log;
  const auto begin = std::chrono::steady_clock::now();
  thread->Stop();  // nothing was created, so there is nothing to wait for or report
  EXPECT_LT(std::chrono::steady_clock::now() - begin, milliseconds(1000));
  EXPECT_TRUE(log.Entries().empty()) << log.Dump();
  thread->Start();
  EXPECT_EQ(1, log.Count("PosixThread::Start", "Thread already stopped")) << log.Dump();
}

TEST(PosixThread, StopFromItsOwnThreadDoesNotWaitForItself) {
  struct SelfStopper : IRunnable {
    std::atomic<bool> returned{false};
    std::unique_ptr<IThread> thread{Platform::NewThread(this)};
    void Run() override {
      thread->Stop();
      returned = true;
    }
  };
  auto runnable = std::make_unique<SelfStopper>();
  runnable->thread->Start();
  for (int i = 0; i < 2000 && !runnable->returned; ++i) std::this_thread::sleep_for(milliseconds(5));
  ASSERT_TRUE(runnable->returned);
  EXPECT_FALSE(runnable->thread->HasEnded());
  runnable.reset();  // the detached thread keeps only its own control block
}

TEST(PosixThread, DestructorStopsARunningThread) {
  // Owned the way the library's runnables own their thread: deleting it stops
  // (wakes and joins) the loop before the runnable goes.
  struct Sleeper : IRunnable {
    std::atomic<bool> running{true};
    std::atomic<bool>* exited = nullptr;
    IThread* const thread{Platform::NewThread(this)};
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
