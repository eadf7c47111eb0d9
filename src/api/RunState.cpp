#include "api/RunState.h"

#include "delivery/Mutex.h"
#include "platform/Platform.h"

namespace qz {
namespace {
Mutex* globalLock = nullptr;
std::atomic<RunState*> theRun{nullptr};
}  // namespace

RunState& TheRun() {
  RunState* run = theRun.load(std::memory_order_acquire);
  if (run != nullptr) return *run;
  // Built on first use, so it is ready whichever load step runs first; of two
  // threads that build it at once, the later one takes the first's.
  RunState* made = new RunState();
  if (theRun.compare_exchange_strong(run, made, std::memory_order_acq_rel)) return *made;
  delete made;
  return *run;
}

void DestroyRun() {
  RunState* run = theRun.load(std::memory_order_acquire);
  // A run left started at the process's end keeps its state: its threads
  // still use it.
  if (run == nullptr || run->started.load()) return;
  theRun.store(nullptr, std::memory_order_release);
  delete run;
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
