// FlowController: paces the sending threads, bounds the queue and backs off
// after repeated failures. The host may fill one to tune delivery.
/// @file
/// Pacing and back-off of delivery: qz::FlowController.
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

/// Delivery tuning a host may pass to API::ApplicationStart: the queue's
/// bound, the transmitter's pacing and the pause after repeated failures.
///
/// ApplicationStart copies it; the run's copy belongs to the library's
/// threads. Not synchronised otherwise. Out-of-range values are clamped,
/// never refused, and no setter logs or throws.
class QZ_API FlowController {
 public:
  /// The defaults: a queue of 30 messages with its high-water mark at 20,
  /// intervals from 1 to 30000 ms, gain 66 %, quiet gain 33 %, a pause of
  /// 60000 ms after 3 failures in a row.
  FlowController();
  /// Nothing to free.
  ~FlowController();

  /// Null resets settings and state to the defaults; otherwise copies both.
  FlowController& operator=(const FlowController* other);

  /// Messages the queue holds (at least 3); beyond it the oldest are
  /// dropped. Also sets the high-water mark to two thirds of it.
  void SetQueueSize(size_t size);
  /// Queue length that wakes the transmitter at once: 1 to queue size - 1.
  void SetHighWater(size_t highWater);
  /// Longest sleep of the transmitter between passes, at least 1 ms (the
  /// minimum follows it down).
  void SetMaximumInterval(uint32_t milliseconds);
  /// Shortest sleep, 1 ms to the maximum interval.
  void SetMinimumInterval(uint32_t milliseconds);
  /// How far, in percent (at least 1), the interval moves toward the rate
  /// of arrival after a pass that sent messages.
  void SetGain(uint32_t percent);
  /// How far, in percent (1 to 100), it moves toward the maximum after a
  /// pass that found nothing.
  void SetQuietGain(uint32_t percent);
  /// @name Flags a run sets from its Configuration
  ///@{

  /// Offline, offline storage allowed and sending disabled. ApplicationStart
  /// overwrites the run's copy of these with the Configuration's.
  void SetOffline(bool offline);
  void SetSupportOfflineStorage(bool supported);
  void SetSendDisabled(bool sendDisabled);
  ///@}
  /// Failed posts in a row that pause sending (default 3; 0 never pauses).
  void SetMaximumSequentialFailureCount(uint32_t count);
  /// Length of that pause in milliseconds (default 60000). 0: stay paused
  /// until a success. Negative values store 0; the 32-bit maximum caps it.
  void SetRetryTimeout(long milliseconds);  // NOLINT(runtime/int)

  /// @name Reading the settings
  ///@{

  /// What the matching setter stored, after clamping.
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
  ///@}

  /// @name Used by the library's threads
  ///@{

  /// Next sleep in milliseconds, given how many messages the pass just
  /// ended took: the interval moves by the gain toward the time the queue
  /// takes to reach its high-water mark at the current rate, within the
  /// minimum and maximum. The first call gives the maximum.
  uint32_t GetInterval(size_t count);
  ///@}
  /// How many of the oldest messages must go from a queue of this length.
  size_t MessagesToDrop(size_t count) const;
  /// Whether a post may be tried now: not offline, not disabled, and not
  /// within a pause after failures.
  bool OKToTransmit() const;
  /// Records the outcome of a post: a success ends any pause, a failure
  /// counts toward one.
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
