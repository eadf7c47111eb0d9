// Library threads for the fuzz targets, run on OS threads that are kept
// parked between uses. An input starts and stops a run, and so makes and
// ends a thread or two; under AddressSanitizer making and ending an OS
// thread cost about a quarter of each execution. The wake, sleep and stop
// rules are those of the Linux platform's threads.
#ifndef QZ_FUZZ_POOLEDTHREAD_H
#define QZ_FUZZ_POOLEDTHREAD_H

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>

#include "delivery/IThread.h"

namespace qz {

class IRunnable;

namespace fuzz {

class PooledThread : public IThread {
 public:
  explicit PooledThread(IRunnable* runnable);
  ~PooledThread() override;
  PooledThread(const PooledThread&) = delete;
  PooledThread& operator=(const PooledThread&) = delete;

  void Start() override;
  void Stop() override;
  void Wake() override;
  void Sleep(uint32_t milliseconds) override;
  void SetStopTimeout(int32_t milliseconds) override;
  uint32_t GetStopTimeout() const override;
  bool HasEnded() const override;

 private:
  // Shared with the job on the pooled thread, which may outlive this object
  // when Stop gives up on it.
  struct Control;
  enum class State { kCreated, kRunning, kStopped };

  std::shared_ptr<Control> control_;
  std::atomic<uint32_t> stopTimeout_;
  std::atomic<bool> ended_;
  std::mutex stateLock_;
  State state_;
};

}  // namespace fuzz
}  // namespace qz

#endif  // QZ_FUZZ_POOLEDTHREAD_H
