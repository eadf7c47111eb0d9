#include "delivery/PosixThreadID.h"

#include <unistd.h>

namespace qz {

// The kernel id rather than pthread_t: it is a plain number that is unique
// among live threads of the whole system, so it compares without a call.
PosixThreadID::PosixThreadID() : threadId_(gettid()) {}

// Poisoned so that a stale pointer compares equal to nothing.
PosixThreadID::~PosixThreadID() { threadId_ = -1; }

bool PosixThreadID::Equals(const ThreadID* other) const {
  const PosixThreadID* same = dynamic_cast<const PosixThreadID*>(other);
  return same != nullptr && same->threadId_ == threadId_ && threadId_ != -1;
}

}  // namespace qz
