// An operating-system thread that drives one IRunnable, with its wake signal
// and its stop protocol.
#ifndef QZ_DELIVERY_ITHREAD_H
#define QZ_DELIVERY_ITHREAD_H

#include <cstdint>

namespace qz {

class IThread {
 public:
  static constexpr uint32_t kDefaultStopTimeoutMs = 15000;

  // The stop timeout of a thread whose work is bounded by the endpoint
  // timeout: that plus 2000 ms, as far as the 32-bit setting reaches.
  static int32_t StopTimeoutAfter(int64_t endpointTimeout) {
    if (endpointTimeout > INT32_MAX - 2000) return INT32_MAX;
    return static_cast<int32_t>((endpointTimeout > 0 ? endpointTimeout : 0) + 2000);
  }

  // Lets the created thread run. Logs "Thread already stopped" when it cannot.
  virtual void Start() = 0;
  // Ends the thread: wakes it and waits at most the stop timeout. The runnable's
  // own running flag must already be cleared. Safe to call more than once.
  virtual void Stop() = 0;
  // One wake releases one pending or the next Sleep (auto-reset).
  virtual void Wake() = 0;
  // Waits until woken or until the time is up. Only the thread's own runnable calls it.
  virtual void Sleep(uint32_t milliseconds) = 0;
  // A value below 1 stores the default of 15000 ms.
  virtual void SetStopTimeout(int32_t milliseconds) = 0;
  virtual ~IThread() = default;

  virtual uint32_t GetStopTimeout() const = 0;

  // False only when Stop gave up on a thread that could not be ended by force
  // (it may still be running its runnable): the owner must then keep the
  // runnable, and whatever it touches, alive instead of destroying it.
  virtual bool HasEnded() const { return true; }
};

}  // namespace qz

#endif  // QZ_DELIVERY_ITHREAD_H
