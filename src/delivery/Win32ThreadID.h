// Identity of a Windows thread: its system thread identifier.
#ifndef QZ_DELIVERY_WIN32THREADID_H
#define QZ_DELIVERY_WIN32THREADID_H

#include <windows.h>

#include "delivery/ThreadID.h"

namespace qz {

class Win32ThreadID : public ThreadID {
 public:
  explicit Win32ThreadID(DWORD threadId);
  ~Win32ThreadID() override;

  bool Equals(const ThreadID* other) const override;
  DWORD GetId() const { return threadId; }

 private:
  DWORD threadId;
};

}  // namespace qz

#endif  // QZ_DELIVERY_WIN32THREADID_H
