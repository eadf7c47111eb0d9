#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <thread>

#include "delivery/IRunnable.h"
#include "delivery/IThread.h"
#include "delivery/Mutex.h"
#include "delivery/ThreadID.h"
#include "platform/Platform.h"
#include "support/LogCapture.h"

namespace qz {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

bool WaitUntil(const std::function<bool()>& done, milliseconds limit = milliseconds(10000)) {
  Clock::time_point end = Clock::now() + limit;
  while (!done()) {
    if (Clock::now() > end) return false;
    std::this_thread::sleep_for(milliseconds(5));
  }
  return true;
}

// Thread log entries carry a per-system class name ("Win32Thread::Stop").
std::string StopSource() {
  PlatformInfo info;
  Platform::GetPlatformInfo(info);
  std::string name;
  for (const QZChar* p = info.name; *p != 0; ++p) name.push_back(static_cast<char>(*p));
  return (name == "Win32" ? "Win32" : "Posix") + std::string("Thread::Stop");
}

// A work loop like the library's own: sleeps on its thread until its running
// flag is cleared. With obeyFlag false it keeps going until released.
class Loop : public IRunnable {
 public:
  explicit Loop(bool obeyFlag = true, uint32_t interval = 60000)
      : obeyFlag_(obeyFlag), interval_(interval), thread(Platform::NewThread(this)) {}

  void Run() override {
    entered = true;
    while (!released && (!obeyFlag_ || running)) {
      thread->Sleep(interval_);
      ++passes;
    }
    exited = true;
  }

  const bool obeyFlag_;
  const uint32_t interval_;
  std::unique_ptr<IThread> thread;
  std::atomic<bool> running{true};
  std::atomic<bool> released{false};
  std::atomic<bool> entered{false};
  std::atomic<bool> exited{false};
  std::atomic<int> passes{0};
};

class Once : public IRunnable {
 public:
  void Run() override { done = true; }
  std::atomic<bool> done{false};
};

TEST(Thread, StopOfFinishedThreadReportsDeadAtOnceAndSecondStopIsSilent) {
  Once once;
  std::unique_ptr<IThread> thread(Platform::NewThread(&once));
  ASSERT_NE(thread, nullptr);
  thread->Start();
  ASSERT_TRUE(WaitUntil([&] { return once.done.load(); }));
  std::this_thread::sleep_for(milliseconds(300));  // let the thread procedure return

  test::LogCapture log;
  Clock::time_point begin = Clock::now();
  thread->Stop();
  EXPECT_LT(Clock::now() - begin, milliseconds(5000));
  EXPECT_EQ(log.Count(StopSource(), "Thread already dead"), 1) << log.Dump();
  EXPECT_TRUE(thread->HasEnded());

  log.Clear();
  thread->Stop();
  EXPECT_TRUE(log.Entries().empty()) << log.Dump();
  thread->Start();
  EXPECT_EQ(log.Entries().size(), 1u) << log.Dump();
  EXPECT_EQ(log.Entries().at(0).message, "Thread already stopped");
}

TEST(Thread, StopWakesASleepingThreadAtOnce) {
  Loop loop;
  loop.thread->SetStopTimeout(60000);
  loop.thread->Start();
  ASSERT_TRUE(WaitUntil([&] { return loop.entered.load(); }));
  std::this_thread::sleep_for(milliseconds(100));  // most likely inside Sleep by now

  test::LogCapture log;
  loop.running = false;
  Clock::time_point begin = Clock::now();
  loop.thread->Stop();
  EXPECT_LT(Clock::now() - begin, milliseconds(20000));
  EXPECT_TRUE(loop.exited);
  EXPECT_TRUE(loop.thread->HasEnded());
  EXPECT_EQ(log.Count(StopSource(), "Thread hung"), 0) << log.Dump();
}

TEST(Thread, HungThreadIsGivenUpAfterStopTimeoutAndTheProcessGoesOn) {
  auto loop = std::make_unique<Loop>(false, 20);
  loop->thread->SetStopTimeout(300);
  loop->thread->Start();
  ASSERT_TRUE(WaitUntil([&] { return loop->entered.load(); }));

  test::LogCapture log;
  loop->running = false;
  Clock::time_point begin = Clock::now();
  loop->thread->Stop();
  EXPECT_LT(Clock::now() - begin, milliseconds(10000));
  EXPECT_EQ(log.Count(StopSource(), "Thread still alive"), 1) << log.Dump();
  EXPECT_EQ(log.Count(StopSource(), "Thread hung"), 1) << log.Dump();

  if (!loop->thread->HasEnded()) {
    // Left running: it still uses its runnable and thread object, so both stay
    // alive until it really returns.
    loop->released = true;
    ASSERT_TRUE(WaitUntil([&] { return loop->exited.load(); }));
  }
  loop.reset();

  Loop next;
  next.thread->Start();
  ASSERT_TRUE(WaitUntil([&] { return next.entered.load(); }));
  next.running = false;
  next.thread->Stop();
  EXPECT_TRUE(next.exited);
}

TEST(Thread, WakeIsRememberedOnceWhileBusy) {
  // The runnable is busy (not sleeping) while both wakes arrive: the first
  // sleep returns at once, the second waits its full time.
  std::atomic<bool> go{false};
  std::atomic<int64_t> firstMs{-1};
  std::atomic<int64_t> secondMs{-1};
  struct Sleeper : IRunnable {
    std::function<void()> body;
    void Run() override { body(); }
  } sleeper;
  std::unique_ptr<IThread> thread(Platform::NewThread(&sleeper));
  sleeper.body = [&] {
    while (!go) std::this_thread::sleep_for(milliseconds(1));
    auto ms = [](Clock::time_point from) {
      return std::chrono::duration_cast<milliseconds>(Clock::now() - from).count();
    };
    Clock::time_point t = Clock::now();
    thread->Sleep(60000);
    firstMs = ms(t);
    t = Clock::now();
    thread->Sleep(300);
    secondMs = ms(t);
  };
  thread->Start();
  thread->Wake();
  thread->Wake();
  go = true;
  ASSERT_TRUE(WaitUntil([&] { return secondMs.load() >= 0; }, milliseconds(30000)));
  EXPECT_LT(firstMs, 20000);
  EXPECT_GE(secondMs, 250);
  thread->Stop();
}

TEST(Thread, StopTimeoutBelowOneMeansDefault) {
  Once once;
  std::unique_ptr<IThread> thread(Platform::NewThread(&once));
  EXPECT_EQ(thread->GetStopTimeout(), 15000u);
  thread->SetStopTimeout(1);
  EXPECT_EQ(thread->GetStopTimeout(), 1u);
  thread->SetStopTimeout(0);
  EXPECT_EQ(thread->GetStopTimeout(), 15000u);
  thread->SetStopTimeout(-5);
  EXPECT_EQ(thread->GetStopTimeout(), 15000u);
  thread->SetStopTimeout(1);
  thread->Start();
  ASSERT_TRUE(WaitUntil([&] { return once.done.load(); }));
}

TEST(ThreadID, EqualsOnlyTheSameThread) {
  std::unique_ptr<ThreadID> a(Platform::NewThreadID());
  std::unique_ptr<ThreadID> b(Platform::NewThreadID());
  std::unique_ptr<ThreadID> other;
  std::thread([&] { other.reset(Platform::NewThreadID()); }).join();
  EXPECT_TRUE(a->Equals(b.get()));
  EXPECT_TRUE(b->Equals(a.get()));
  EXPECT_FALSE(a->Equals(nullptr));
  EXPECT_FALSE(a->Equals(other.get()));
}

TEST(Mutex, IsReentrantAndExcludesOtherThreads) {
  std::unique_ptr<Mutex> mutex(Platform::NewMutex());
  {
    MutexLock outer(mutex.get());
    MutexLock inner(mutex.get());
  }
  // Released as often as taken: other threads get it, one at a time.
  int counter = 0;
  auto work = [&] {
    for (int i = 0; i < 20000; ++i) {
      MutexLock lock(mutex.get());
      MutexLock again(mutex.get());
      ++counter;
    }
  };
  std::thread t1(work);
  std::thread t2(work);
  t1.join();
  t2.join();
  EXPECT_EQ(counter, 40000);
}

}  // namespace
}  // namespace qz
