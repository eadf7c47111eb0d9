#include "platform/LibraryLoad.h"

#include <mutex>
#include <new>

#include "api/RunState.h"
#include "platform/ModuleReference.h"
#include "platform/Platform.h"

namespace qz {
namespace {
// Constant-initialised, so it exists before any load step can run.
std::mutex platformLock;
}  // namespace

void CreatePlatform() {
  std::lock_guard<std::mutex> guard(platformLock);
  if (Platform::Instance() == nullptr) {
    // The constructor registers the object as the singleton.
    NewNativePlatform();
  }
  CreateGlobalLock();
}

void DestroyPlatform() {
  std::lock_guard<std::mutex> guard(platformLock);
  Platform* platform = Platform::Instance();
  if (platform == nullptr) return;
  // A thread that still holds the module means the process is ending with a
  // run that was never stopped (a real unload waits for every hold): its
  // threads may still use what this step frees, and the process's end frees
  // it anyway.
  if (ModuleReference::AnyHeld()) return;
  DestroyGlobalLock();
  DestroyRun();
  delete platform;
}

}  // namespace qz
