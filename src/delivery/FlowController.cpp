#include "qz/FlowController.h"

#include <algorithm>
#include <cstdint>
#include <limits>

#include "platform/Platform.h"

namespace qz {
namespace {

constexpr uint64_t kMinimumQueueSize = 3;

uint64_t HighWaterFor(uint64_t queueSize) {
  // Two thirds, written so that a huge size cannot overflow.
  uint64_t mark = queueSize / 3 * 2 + (queueSize % 3) * 2 / 3;
  if (mark < 1) mark = 1;
  return mark < queueSize ? mark : queueSize - 1;
}

}  // namespace

FlowController::FlowController() { Reset(); }

FlowController::~FlowController() {}

void FlowController::Reset() {
  queueSize = 30;
  highWater = 20;
  maximumInterval = 30000;
  minimumInterval = 1;
  gain = 66;
  quietGain = 33;
  offline = false;
  supportOfflineStorage = true;
  sendDisabled.store(false, std::memory_order_relaxed);
  maximumSequentialFailureCount = 3;
  retryTimeout = 60000;
  lastIntervalTime = 0;
  interval = 0;
  sequentialFailureCount = 0;
  retryTime = 0;
}

FlowController& FlowController::operator=(const FlowController* other) {
  if (other == this) return *this;
  if (other == nullptr) {
    Reset();
    return *this;
  }
  queueSize = other->queueSize;
  highWater = other->highWater;
  maximumInterval = other->maximumInterval;
  minimumInterval = other->minimumInterval;
  gain = other->gain;
  quietGain = other->quietGain;
  offline = other->offline;
  supportOfflineStorage = other->supportOfflineStorage;
  sendDisabled.store(other->sendDisabled.load(std::memory_order_relaxed), std::memory_order_relaxed);
  maximumSequentialFailureCount = other->maximumSequentialFailureCount;
  retryTimeout = other->retryTimeout;
  lastIntervalTime = other->lastIntervalTime;
  interval = other->interval;
  sequentialFailureCount = other->sequentialFailureCount;
  retryTime = other->retryTime;
  return *this;
}

void FlowController::SetQueueSize(size_t size) {
  queueSize = size > kMinimumQueueSize ? size : kMinimumQueueSize;
  highWater = HighWaterFor(queueSize);
}

void FlowController::SetHighWater(size_t mark) {
  const uint64_t m = mark > 0 ? mark : 1;
  highWater = m < queueSize ? m : queueSize - 1;
}

void FlowController::SetMaximumInterval(uint32_t milliseconds) {
  maximumInterval = milliseconds > 0 ? milliseconds : 1;
  if (minimumInterval > maximumInterval) minimumInterval = maximumInterval;
}

void FlowController::SetMinimumInterval(uint32_t milliseconds) {
  const uint32_t m = milliseconds > 0 ? milliseconds : 1;
  minimumInterval = m < maximumInterval ? m : maximumInterval;
}

void FlowController::SetGain(uint32_t percent) { gain = percent > 0 ? percent : 1; }

void FlowController::SetQuietGain(uint32_t percent) {
  quietGain = percent == 0 ? 1 : (percent < 100 ? percent : 100);
}

void FlowController::SetOffline(bool value) { offline = value; }
void FlowController::SetSupportOfflineStorage(bool value) { supportOfflineStorage = value; }
void FlowController::SetSendDisabled(bool value) {
  sendDisabled.store(value, std::memory_order_relaxed);
}
void FlowController::SetMaximumSequentialFailureCount(uint32_t count) {
  maximumSequentialFailureCount = count;
}
void FlowController::SetRetryTimeout(long milliseconds) {  // NOLINT(runtime/int)
  // long is 64 bits on Linux: a larger value is capped, not cut to its low bits.
  const int64_t wide = milliseconds;
  retryTimeout = wide > 0 ? static_cast<int32_t>(std::min<int64_t>(wide, INT32_MAX)) : 0;
}

size_t FlowController::GetQueueSize() const { return static_cast<size_t>(queueSize); }
size_t FlowController::GetHighWater() const { return static_cast<size_t>(highWater); }
uint32_t FlowController::GetMaximumInterval() const { return maximumInterval; }
uint32_t FlowController::GetMinimumInterval() const { return minimumInterval; }
uint32_t FlowController::GetGain() const { return gain; }
uint32_t FlowController::GetQuietGain() const { return quietGain; }
uint32_t FlowController::GetMaximumSequentialFailureCount() const {
  return maximumSequentialFailureCount;
}
long FlowController::GetRetryTimeout() const { return retryTimeout; }  // NOLINT(runtime/int)
bool FlowController::IsOffline() const { return offline; }
bool FlowController::IsSupportOfflineStorage() const { return supportOfflineStorage; }
bool FlowController::IsSendDisabled() const {
  return sendDisabled.load(std::memory_order_relaxed);
}

// The target and the step are formed in 64 bits, saturating, instead of the
// 32 bits that would wrap: a wrapped step can land anywhere, and an overshoot
// below zero (gain above 100) would read as a huge interval. Here a target far
// above the interval ends at the maximum and an overshoot below zero at the
// minimum. Wherever 32 bits do not overflow the result is the same.
uint32_t FlowController::GetInterval(size_t count) {
  const uint64_t now = Platform::GetTimeMillis();
  if (lastIntervalTime == 0) {
    lastIntervalTime = now;
    interval = maximumInterval;
    return interval;
  }

  uint64_t target;
  uint32_t g;
  if (count > 0) {
    // A clock set back counts as no time passed.
    const uint64_t elapsed = now > lastIntervalTime ? now - lastIntervalTime : 0;
    const uint64_t perMessage = elapsed / count;
    target = perMessage > UINT32_MAX / highWater ? UINT32_MAX : perMessage * highWater;
    g = gain;
  } else {
    target = maximumInterval;
    g = quietGain;
  }

  // |difference| < 2^32, so only the product with the gain can overflow; past
  // that point the result is far outside the clamp range either way.
  const int64_t difference = static_cast<int64_t>(target) - static_cast<int64_t>(interval);
  const int64_t limit = std::numeric_limits<int64_t>::max() / g;
  int64_t next;
  if (difference > limit) {
    next = std::numeric_limits<int64_t>::max();
  } else if (difference < -limit) {
    next = std::numeric_limits<int64_t>::min();
  } else {
    next = static_cast<int64_t>(interval) + difference * g / 100;
  }

  if (next > static_cast<int64_t>(maximumInterval)) {
    interval = maximumInterval;
  } else if (next < static_cast<int64_t>(minimumInterval)) {
    interval = minimumInterval;
  } else {
    interval = static_cast<uint32_t>(next);
  }
  lastIntervalTime = now;
  return interval;
}

size_t FlowController::MessagesToDrop(size_t count) const {
  return count > queueSize ? static_cast<size_t>(count - queueSize) : 0;
}

bool FlowController::OKToTransmit() const {
  if (offline || sendDisabled.load(std::memory_order_relaxed)) return false;
  if (sequentialFailureCount < maximumSequentialFailureCount) return true;
  if (retryTimeout == 0) return false;
  return static_cast<int64_t>(Platform::GetTimeMillis()) >= retryTime;
}

void FlowController::OnSend(bool success) {
  if (success) {
    sequentialFailureCount = 0;
    retryTime = 0;
    return;
  }
  if (maximumSequentialFailureCount == 0) return;
  // Saturate rather than wrap back below the maximum after 2^32 failures.
  if (sequentialFailureCount < UINT32_MAX) ++sequentialFailureCount;
  if (sequentialFailureCount >= maximumSequentialFailureCount && retryTimeout > 0) {
    retryTime = static_cast<int64_t>(Platform::GetTimeMillis()) + retryTimeout;
  }
}

}  // namespace qz
