#include "api/RunState.h"

#include "delivery/Mutex.h"
#include "platform/Platform.h"

namespace qz {
namespace {
Mutex* globalLock = nullptr;
}  // namespace

RunState& TheRun() {
  // Built on first use, so it is ready whichever load step runs first.
  static RunState* run = new RunState();
  return *run;
}

Mutex* GlobalLock() { return globalLock; }

void CreateGlobalLock() {
  if (globalLock == nullptr) globalLock = Platform::NewMutex();
}

void DestroyGlobalLock() {
  delete globalLock;
  globalLock = nullptr;
}

}  // namespace qz
