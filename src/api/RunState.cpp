#include "api/RunState.h"

#include "delivery/Mutex.h"
#include "platform/Platform.h"

namespace qz {
namespace {
Mutex* globalLock = nullptr;
}  // namespace

Mutex* GlobalLock() { return globalLock; }

void CreateGlobalLock() {
  if (globalLock == nullptr) globalLock = Platform::NewMutex();
}

void DestroyGlobalLock() {
  delete globalLock;
  globalLock = nullptr;
}

}  // namespace qz
