// FlowController: paces the sending threads, bounds the queue and backs off
// after repeated failures. The host may fill one to tune delivery.
#ifndef QZ_FLOWCONTROLLER_H
#define QZ_FLOWCONTROLLER_H

#include "qz/export.h"

#if defined(QZ_USE_FLAT_ABI)
// Compilers that cannot call the exported classes get the same ones inline.
#include "qz/qz_inline.h"
#else

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace qz {

class QZ_API FlowController {
 public:
  FlowController();
  ~FlowController();

  // Null resets settings and state to the defaults; otherwise copies both.
  FlowController& operator=(const FlowController* other);

  // Out-of-range values are clamped, never refused.
  void SetQueueSize(size_t size);  // also resets the high-water mark
  void SetHighWater(size_t highWater);
  void SetMaximumInterval(uint32_t milliseconds);
  void SetMinimumInterval(uint32_t milliseconds);
  void SetGain(uint32_t percent);
  void SetQuietGain(uint32_t percent);
  void SetOffline(bool offline);
  void SetSupportOfflineStorage(bool supported);
  void SetSendDisabled(bool sendDisabled);
  void SetMaximumSequentialFailureCount(uint32_t count);
  // 0: stay paused until a success. Negative values store 0; the 32-bit maximum caps it.
  void SetRetryTimeout(long milliseconds);  // NOLINT(runtime/int)

  size_t GetQueueSize() const;
  size_t GetHighWater() const;
  uint32_t GetMaximumInterval() const;
  uint32_t GetMinimumInterval() const;
  uint32_t GetGain() const;
  uint32_t GetQuietGain() const;
  uint32_t GetMaximumSequentialFailureCount() const;
  long GetRetryTimeout() const;  // NOLINT(runtime/int)
  bool IsOffline() const;
  bool IsSupportOfflineStorage() const;
  bool IsSendDisabled() const;

  // Next sleep in milliseconds, given how many messages the pass just ended took.
  uint32_t GetInterval(size_t count);
  // How many of the oldest messages must go from a queue of this length.
  size_t MessagesToDrop(size_t count) const;
  // Whether a send may be tried now.
  bool OKToTransmit() const;
  // Records the outcome of a send.
  void OnSend(bool success);

 private:
  FlowController(const FlowController&) = delete;
  FlowController& operator=(const FlowController&) = delete;
  void Reset();

  uint64_t queueSize;
  uint64_t highWater;
  uint32_t maximumInterval;
  uint32_t minimumInterval;
  uint32_t gain;
  uint32_t quietGain;
  bool offline;
  bool supportOfflineStorage;
  // The one field a host thread changes while the sending thread reads it.
  std::atomic<bool> sendDisabled;
  uint32_t maximumSequentialFailureCount;
  int32_t retryTimeout;
  uint64_t lastIntervalTime;
  uint32_t interval;
  uint32_t sequentialFailureCount;
  int64_t retryTime;
};

}  // namespace qz

#endif  // QZ_USE_FLAT_ABI

#endif  // QZ_FLOWCONTROLLER_H
