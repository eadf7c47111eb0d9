// Identity of a Linux thread: its kernel thread id.
#ifndef QZ_DELIVERY_POSIXTHREADID_H
#define QZ_DELIVERY_POSIXTHREADID_H

#include <sys/types.h>

#include "delivery/ThreadID.h"

namespace qz {

class PosixThreadID : public ThreadID {
 public:
  // Holds the identity of the calling thread.
  PosixThreadID();
  ~PosixThreadID() override;

  bool Equals(const ThreadID* other) const override;

 private:
  pid_t threadId_;
};

}  // namespace qz

#endif  // QZ_DELIVERY_POSIXTHREADID_H
