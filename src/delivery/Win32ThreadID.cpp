#include "delivery/Win32ThreadID.h"

namespace qz {

Win32ThreadID::Win32ThreadID(DWORD threadId) : threadId(threadId) {}

// No live thread has this identifier, so a use after destruction never matches.
Win32ThreadID::~Win32ThreadID() { threadId = 0xFFFFFFFF; }

bool Win32ThreadID::Equals(const ThreadID* other) const {
  const Win32ThreadID* same = dynamic_cast<const Win32ThreadID*>(other);
  return same != nullptr && same->threadId == threadId;
}

}  // namespace qz
