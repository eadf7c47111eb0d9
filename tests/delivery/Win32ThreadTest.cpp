#include <windows.h>

#include <gtest/gtest.h>

#include <atomic>
#include <memory>

#include "delivery/IRunnable.h"
#include "delivery/IThread.h"
#include "platform/Platform.h"
#include "support/LogCapture.h"

namespace qz {
namespace {

// Ignores every stop: sleeps in short steps until killed.
struct Stubborn : IRunnable {
  void Run() override {
    priority = GetThreadPriority(GetCurrentThread());
    threadId = GetCurrentThreadId();
    for (;;) thread->Sleep(20);
  }
  std::atomic<int> priority{THREAD_PRIORITY_ERROR_RETURN};
  std::atomic<DWORD> threadId{0};
  std::unique_ptr<IThread> thread{Platform::NewThread(this)};
};

TEST(Win32ThreadTest, AHungThreadIsKilledWithExitCodeOneAndNeverStartsAgain) {
  Stubborn never, running;
  never.thread->SetStopTimeout(100);
  running.thread->SetStopTimeout(100);
  running.thread->Start();
  for (int i = 0; i < 1000 && running.threadId == 0; ++i) ::Sleep(10);
  HANDLE handle = OpenThread(SYNCHRONIZE | THREAD_QUERY_INFORMATION, FALSE, running.threadId);
  ASSERT_NE(nullptr, handle);
  EXPECT_LE(running.priority.load(), THREAD_PRIORITY_BELOW_NORMAL);

  test::LogCapture log;
  never.thread->Stop();  // created suspended: still alive, so it is hung too
  never.thread->Start();
  running.thread->Stop();
  EXPECT_EQ(2, log.Count("Win32Thread::Stop", "Thread still alive")) << log.Dump();
  EXPECT_EQ(2, log.Count("Win32Thread::Stop", "Thread hung")) << log.Dump();
  EXPECT_EQ(1, log.Count("Win32Thread::Start", "Thread already stopped")) << log.Dump();
  EXPECT_TRUE(never.thread->HasEnded() && running.thread->HasEnded());
  EXPECT_EQ(0u, never.threadId.load());
  ASSERT_EQ(WAIT_OBJECT_0, WaitForSingleObject(handle, 10000));
  DWORD code = 0;
  EXPECT_TRUE(GetExitCodeThread(handle, &code));
  EXPECT_EQ(1u, code);
  CloseHandle(handle);
}

}  // namespace
}  // namespace qz
