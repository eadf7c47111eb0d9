// A Linux thread that drives one IRunnable, with an auto-reset wake signal and
// a bounded stop.
//
// The OS thread is created by Start, not before. A Linux thread cannot be
// killed, so when Stop gives up on a hung thread it detaches it and HasEnded
// turns false; the thread keeps its own wake signal alive, but the owner must
// keep the runnable (and this object, if the runnable sleeps on it) alive.
//
// Stop on a thread that was never started logs nothing and returns at once:
// no OS thread exists and the runnable never ran. Start afterwards logs
// "Thread already stopped" like any Start after Stop.
#ifndef QZ_DELIVERY_POSIXTHREAD_H
#define QZ_DELIVERY_POSIXTHREAD_H

#include <pthread.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>

#include "delivery/IThread.h"

namespace qz {

class IRunnable;

class PosixThread : public IThread {
 public:
  explicit PosixThread(IRunnable* runnable);
  ~PosixThread() override;
  PosixThread(const PosixThread&) = delete;
  PosixThread& operator=(const PosixThread&) = delete;

  void Start() override;
  void Stop() override;
  void Wake() override;
  void Sleep(uint32_t milliseconds) override;
  void SetStopTimeout(int32_t milliseconds) override;
  uint32_t GetStopTimeout() const override;
  bool HasEnded() const override;

 private:
  // Shared by this object and the thread procedure.
  struct Control;
  static void* ThreadProc(void* argument);

  enum class State { kCreated, kRunning, kStopped };

  std::shared_ptr<Control> control_;
  std::atomic<uint32_t> stopTimeout_;
  std::atomic<bool> ended_;
  // Guards state_ and thread_ only, never held while waiting.
  std::mutex stateLock_;
  State state_;
  pthread_t thread_;
};

}  // namespace qz

#endif  // QZ_DELIVERY_POSIXTHREAD_H
