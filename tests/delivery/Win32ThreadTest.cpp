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
class Stubborn : public IRunnable {
 public:
  void Run() override {
    priority = GetThreadPriority(GetCurrentThread());
    threadId = GetCurrentThreadId();
    for (;;) thread->Sleep(20);
  }
  IThread* thread = nullptr;
  std::atomic<int> priority{THREAD_PRIORITY_ERROR_RETURN};
  std::atomic<DWORD> threadId{0};
};

TEST(Win32ThreadTest, NeverStartedThreadIsReportedHungAndCannotStartLater) {
  Stubborn runnable;
  std::unique_ptr<IThread> thread(Platform::NewThread(&runnable));
  ASSERT_NE(nullptr, thread);
  thread->SetStopTimeout(100);
  test::LogCapture log;
  thread->Stop();
  thread->Start();
  EXPECT_EQ(1, log.Count("Win32Thread::Stop", "Thread still alive")) << log.Dump();
  EXPECT_EQ(1, log.Count("Win32Thread::Stop", "Thread hung")) << log.Dump();
  EXPECT_EQ(1, log.Count("Win32Thread::Start", "Thread already stopped")) << log.Dump();
  EXPECT_TRUE(thread->HasEnded());
  EXPECT_EQ(0u, runnable.threadId.load());
}

TEST(Win32ThreadTest, RunsBelowNormalAndAHungThreadEndsWithExitCodeOne) {
  Stubborn runnable;
  std::unique_ptr<IThread> thread(Platform::NewThread(&runnable));
  runnable.thread = thread.get();
  thread->SetStopTimeout(100);
  thread->Start();
  for (int i = 0; i < 1000 && runnable.threadId == 0; ++i) ::Sleep(10);
  HANDLE handle = OpenThread(SYNCHRONIZE | THREAD_QUERY_INFORMATION, FALSE, runnable.threadId);
  ASSERT_NE(nullptr, handle);
  EXPECT_LE(runnable.priority.load(), THREAD_PRIORITY_BELOW_NORMAL);

  thread->Stop();
  ASSERT_EQ(WAIT_OBJECT_0, WaitForSingleObject(handle, 10000));
  DWORD code = 0;
  EXPECT_TRUE(GetExitCodeThread(handle, &code));
  EXPECT_EQ(1u, code);
  CloseHandle(handle);
}

}  // namespace
}  // namespace qz
