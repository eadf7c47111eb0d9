#include "delivery/ServerPause.h"

#include <algorithm>

#include "delivery/XMLTransmitter.h"
#include "platform/Platform.h"
#include "qz/FlowController.h"

namespace qz {
namespace {

constexpr int64_t kLongestWhenUnbounded = 60000;

}  // namespace

bool ServerPause::Begin(const XMLTransmitter& transmitter, const FlowController& flow) {
  const int64_t asked = transmitter.GetLastRetryAfter();
  if (asked < 0) return false;
  const int64_t retryTimeout = flow.GetRetryTimeout();
  const int64_t longest = retryTimeout > 0 ? retryTimeout : kLongestWhenUnbounded;
  until = Platform::GetTimeMillis() + static_cast<uint64_t>(std::min(asked, longest));
  return true;
}

bool ServerPause::IsActive() const { return Platform::GetTimeMillis() < until; }

}  // namespace qz
