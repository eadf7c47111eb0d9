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
#include "delivery/XMLTransmitterTest.h"
#include "platform/Platform.h"
#include "support/LogCapture.h"

namespace qz {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

bool WaitUntil(const std::function<bool()>& done, milliseconds limit = milliseconds(10000)) {
  const Clock::time_point end = Clock::now() + limit;
  while (!done()) {
    if (Clock::now() > end) return false;
    std::this_thread::sleep_for(milliseconds(5));
  }
  return true;
}

const std::string kStopSource = std::string(test::kSystem) + "Thread::Stop";

// Runs the given body on the thread under test.
struct Body : IRunnable {
  explicit Body(std::function<void(IThread&)> body) : body(std::move(body)) {}
  void Run() override {
    entered = true;
    body(*thread);
    exited = true;
  }
  std::function<void(IThread&)> body;
  std::atomic<bool> entered{false}, exited{false};
  std::unique_ptr<IThread> thread{Platform::NewThread(this)};  // last: goes first
};

TEST(Thread, StopOfAFinishedThreadReportsItDeadAndIsThenSilent) {
  Body once([](IThread&) {});
  EXPECT_EQ(15000u, once.thread->GetStopTimeout());
  for (int32_t set : {0, -5, 1, 10000}) {  // below one means the default
    once.thread->SetStopTimeout(set);
    EXPECT_EQ(set < 1 ? 15000u : static_cast<uint32_t>(set), once.thread->GetStopTimeout()) << set;
  }
  once.thread->Start();
  ASSERT_TRUE(WaitUntil([&] { return once.exited.load(); }));
  std::this_thread::sleep_for(milliseconds(300));  // let the thread procedure return
  test::LogCapture log;
  const Clock::time_point begin = Clock::now();
  once.thread->Stop();
  EXPECT_LT(Clock::now() - begin, milliseconds(5000));
  EXPECT_EQ(1, log.Count(kStopSource, "Thread already dead")) << log.Dump();
  EXPECT_TRUE(once.thread->HasEnded());
  log.Clear();
  once.thread->Stop();
  once.thread->Start();
  ASSERT_EQ(1u, log.Entries().size()) << log.Dump();
  EXPECT_EQ("Thread already stopped", log.Entries()[0].message);
}

TEST(Thread, StopWakesASleepingThreadAtOnce) {
  std::atomic<bool> running{true};
  Body loop([&](IThread& thread) {
    while (running) thread.Sleep(60000);
  });
  loop.thread->SetStopTimeout(60000);
  loop.thread->Start();
  ASSERT_TRUE(WaitUntil([&] { return loop.entered.load(); }));
  std::this_thread::sleep_for(milliseconds(100));  // most likely inside Sleep by now
  test::LogCapture log;
  running = false;
  const Clock::time_point begin = Clock::now();
  loop.thread->Stop();
  EXPECT_LT(Clock::now() - begin, milliseconds(20000));
  EXPECT_TRUE(loop.exited && loop.thread->HasEnded());
  EXPECT_EQ(0, log.Count(kStopSource, "Thread hung")) << log.Dump();
}

TEST(Thread, HungThreadIsGivenUpAfterStopTimeoutAndTheProcessGoesOn) {
  std::atomic<bool> released{false};
  Body stubborn([&](IThread& thread) {
    while (!released) thread.Sleep(20);
  });
  stubborn.thread->SetStopTimeout(300);
  stubborn.thread->Start();
  ASSERT_TRUE(WaitUntil([&] { return stubborn.entered.load(); }));
  test::LogCapture log;
  const Clock::time_point begin = Clock::now();
  stubborn.thread->Stop();
  EXPECT_LT(Clock::now() - begin, milliseconds(10000));
  EXPECT_EQ(1, log.Count(kStopSource, "Thread still alive")) << log.Dump();
  EXPECT_EQ(1, log.Count(kStopSource, "Thread hung")) << log.Dump();
  if (!stubborn.thread->HasEnded()) {
    // Left running, it still uses its runnable and thread object: let it return first.
    released = true;
    ASSERT_TRUE(WaitUntil([&] { return stubborn.exited.load(); }));
  }
  Body next([](IThread&) {});
  next.thread->Start();
  ASSERT_TRUE(WaitUntil([&] { return next.exited.load(); }));
  next.thread->Stop();
}

TEST(Thread, WakeIsRememberedOnceWhileBusy) {
  // Both wakes arrive while the runnable is busy: the first sleep returns at
  // once, the second waits its full time.
  std::atomic<bool> go{false};
  Clock::duration first{}, second{};
  Body sleeper([&](IThread& thread) {
    while (!go) std::this_thread::sleep_for(milliseconds(1));
    Clock::time_point begin = Clock::now();
    thread.Sleep(60000);
    first = Clock::now() - begin;
    begin = Clock::now();
    thread.Sleep(300);
    second = Clock::now() - begin;
  });
  sleeper.thread->Start();
  sleeper.thread->Wake();
  sleeper.thread->Wake();
  go = true;
  ASSERT_TRUE(WaitUntil([&] { return sleeper.exited.load(); }, milliseconds(30000)));
  EXPECT_LT(first, milliseconds(20000));
  EXPECT_GE(second, milliseconds(250));
  sleeper.thread->Stop();
}

TEST(ThreadID, EqualsOnlyTheSameThread) {
  std::unique_ptr<ThreadID> a(Platform::NewThreadID()), b(Platform::NewThreadID()), other;
  std::thread([&] { other.reset(Platform::NewThreadID()); }).join();
  EXPECT_TRUE(a->Equals(b.get()) && b->Equals(a.get()));
  EXPECT_FALSE(a->Equals(nullptr));
  EXPECT_FALSE(a->Equals(other.get()));
}

TEST(Mutex, IsReentrantAndExcludesOtherThreads) {
  std::unique_ptr<Mutex> mutex(Platform::NewMutex());
  // Taken twice per round and released as often: other threads still get it, one at a time.
  int counter = 0;
  auto work = [&] {
    for (int i = 0; i < 20000; ++i) {
      MutexLock lock(mutex.get());
      MutexLock again(mutex.get());
      ++counter;
    }
  };
  std::thread t1(work), t2(work);
  t1.join();
  t2.join();
  EXPECT_EQ(40000, counter);
}

}  // namespace
}  // namespace qz
