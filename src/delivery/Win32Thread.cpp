#include "delivery/Win32Thread.h"

#include "delivery/IRunnable.h"
#include "platform/CaughtException.h"
#include "platform/ModuleReference.h"
#include "platform/Platform.h"

namespace qz {

Win32Thread::Win32Thread(IRunnable* runnable)
    : stopTimeout(kDefaultStopTimeoutMs),
      runnable(runnable),
      threadId(0),
      threadHandle(nullptr),
      wakeEvent(nullptr),
      wakePending(false),
      ended(true),
      module(ModuleReference::Acquire()) {
  // The library stays loaded while the thread runs its code.
  threadHandle = CreateThread(nullptr, 0, &Win32Thread::ThreadProc, this, CREATE_SUSPENDED,
                              &threadId);
  if (threadHandle != nullptr) {
    SetThreadPriority(threadHandle, THREAD_PRIORITY_BELOW_NORMAL);
  } else {
    ModuleReference::Release(module.exchange(nullptr));
  }
  wakeEvent = CreateEventW(nullptr, FALSE, FALSE, nullptr);
}

Win32Thread::~Win32Thread() {
  if (threadHandle != nullptr) Stop();
}

DWORD WINAPI Win32Thread::ThreadProc(LPVOID parameter) {
  Win32Thread* self = static_cast<Win32Thread*>(parameter);
  // Background mode may only be entered by the thread itself.
  SetThreadPriority(GetCurrentThread(), THREAD_MODE_BACKGROUND_BEGIN);
  try {
    self->runnable->Run();
  } catch (...) {
    // An exception must not end the host's process with this thread.
    LogCaughtException(QZ_TEXT("Win32Thread::Run"));
  }
  SetThreadPriority(GetCurrentThread(), THREAD_MODE_BACKGROUND_END);
  // Does not return while a reference is held: a host may have unloaded the
  // library during the run, and the thread must not come back into it.
  ModuleReference::ReleaseAtThreadEnd(self->module.exchange(nullptr));
  return 0;
}

void Win32Thread::Start() {
  if (threadHandle == nullptr) {
    Platform::LogInfo(QZ_TEXT("Win32Thread::Start"), QZ_TEXT("Thread already stopped"));
    return;
  }
  ResumeThread(threadHandle);
}

void Win32Thread::Stop() {
  if (threadHandle != nullptr) {
    if (WaitForSingleObject(threadHandle, 0) == WAIT_OBJECT_0) {
      Platform::LogInfo(QZ_TEXT("Win32Thread::Stop"), QZ_TEXT("Thread already dead"));
    } else {
      Platform::LogInfo(QZ_TEXT("Win32Thread::Stop"), QZ_TEXT("Thread still alive"));
      // Signalled whatever the pending flag says: the thread must see this wake.
      if (wakeEvent != nullptr) SetEvent(wakeEvent);
      if (WaitForSingleObject(threadHandle, stopTimeout) != WAIT_OBJECT_0) {
        Platform::LogInfo(QZ_TEXT("Win32Thread::Stop"), QZ_TEXT("Thread hung"));
        // If even this fails the runnable may still be running: the owner
        // learns so through HasEnded and must keep it alive.
        ended = TerminateThread(threadHandle, 1) != FALSE;
        // Termination completes asynchronously; let it finish before the
        // owner frees what the thread was using.
        if (ended) ended = WaitForSingleObject(threadHandle, 5000) == WAIT_OBJECT_0;
        // A killed thread never dropped its hold on the module.
        if (ended) ModuleReference::Release(module.exchange(nullptr));
      }
    }
    CloseHandle(threadHandle);
    threadHandle = nullptr;
  }
  if (wakeEvent != nullptr) {
    CloseHandle(wakeEvent);
    wakeEvent = nullptr;
  }
}

void Win32Thread::Wake() {
  if (wakeEvent != nullptr && !wakePending.exchange(true)) SetEvent(wakeEvent);
}

void Win32Thread::Sleep(uint32_t milliseconds) {
  if (wakeEvent == nullptr) return;
  // The largest interval would read as INFINITE: the longest finite wait instead.
  WaitForSingleObject(wakeEvent, milliseconds < INFINITE ? milliseconds : INFINITE - 1);
  // A Wake from here on signals again. One that came since the wait ended
  // found the flag set and did not: its work was queued before it, so the
  // pass this thread is about to make takes it.
  wakePending.store(false);
}

void Win32Thread::SetStopTimeout(int32_t milliseconds) {
  stopTimeout = milliseconds < 1 ? kDefaultStopTimeoutMs : static_cast<uint32_t>(milliseconds);
}

}  // namespace qz
