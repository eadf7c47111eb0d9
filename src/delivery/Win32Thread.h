// A Windows thread that runs one IRunnable below normal priority, in
// background mode, woken through an auto-reset event.
#ifndef QZ_DELIVERY_WIN32THREAD_H
#define QZ_DELIVERY_WIN32THREAD_H

#include <windows.h>

#include <atomic>

#include "delivery/IThread.h"

namespace qz {

class IRunnable;

class Win32Thread : public IThread {
 public:
  // Creates the thread suspended; it runs only after Start. Failures are
  // silent here and show up as "Thread already stopped" on Start.
  explicit Win32Thread(IRunnable* runnable);
  ~Win32Thread() override;
  Win32Thread(const Win32Thread&) = delete;
  Win32Thread& operator=(const Win32Thread&) = delete;

  void Start() override;
  void Stop() override;
  void Wake() override;
  void Sleep(uint32_t milliseconds) override;
  void SetStopTimeout(int32_t milliseconds) override;
  uint32_t GetStopTimeout() const override { return stopTimeout; }
  bool HasEnded() const override { return ended; }

 private:
  static DWORD WINAPI ThreadProc(LPVOID parameter);

  uint32_t stopTimeout;
  IRunnable* runnable;  // not owned: the runnable owns its thread
  DWORD threadId;
  HANDLE threadHandle;
  HANDLE wakeEvent;
  // Set by Wake, cleared when Sleep returns: while set, the event is signalled
  // or the thread is on its way to work, so setting it again (a request to the
  // Wine server there) would change nothing.
  std::atomic<bool> wakePending;
  bool ended;
  // The thread's hold on the library's module; whoever takes it drops it.
  std::atomic<void*> module;
};

}  // namespace qz

#endif  // QZ_DELIVERY_WIN32THREAD_H
