#include "delivery/PosixThreadID.h"

#include <pthread.h>
#include <unistd.h>

namespace qz {
namespace {

// gettid is a system call (about a microsecond here), and feature starts and
// stops ask for the id under the run's lock: each thread reads it once.
thread_local pid_t t_threadId = 0;

// A forked child's thread has an id of its own.
void ForgetThreadId() { t_threadId = 0; }

pid_t CurrentThreadId() {
  if (t_threadId == 0) {
    static const bool forgetsOnFork = pthread_atfork(nullptr, nullptr, &ForgetThreadId) == 0;
    (void)forgetsOnFork;
    t_threadId = gettid();
  }
  return t_threadId;
}

}  // namespace

// The kernel id rather than pthread_t: it is a plain number that is unique
// among live threads of the whole system, so it compares without a call.
PosixThreadID::PosixThreadID() : threadId_(CurrentThreadId()) {}

// Poisoned so that a stale pointer compares equal to nothing.
PosixThreadID::~PosixThreadID() { threadId_ = -1; }

bool PosixThreadID::Equals(const ThreadID* other) const {
  const PosixThreadID* same = dynamic_cast<const PosixThreadID*>(other);
  return same != nullptr && same->threadId_ == threadId_ && threadId_ != -1;
}

}  // namespace qz
