// The module is this shared object, found by an address inside it; each
// reference is one more dlopen of the loaded object.
#include <cxxabi.h>
#include <dlfcn.h>

#include <new>

#include "platform/ModuleReference.h"
#include "platform/Platform.h"

namespace qz {
namespace {

const QZChar kSource[] = QZ_TEXT("ModuleReference::Acquire");
const char kAddressInside = 0;

void LogDlError() {
  const char* error = dlerror();
  try {
    StringBuf message(QZ_TEXT("dlopen() failed: "));
    message.Append(error != nullptr ? error : "no reason given");
    Platform::LogError(kSource, message);
  } catch (const std::bad_alloc&) {
    Platform::LogError(kSource, QZ_TEXT("dlopen() failed"));
  }
}

}  // namespace

void* ModuleReference::AcquireOwnModule() {
  Dl_info info;
  if (dladdr(&kAddressInside, &info) == 0 || info.dli_fname == nullptr) {
    Platform::LogError(kSource, QZ_TEXT("dladdr() found no module"));
    return nullptr;
  }
  // Never loads anything: it only counts one more reference to what is loaded.
  void* module = dlopen(info.dli_fname, RTLD_NOW | RTLD_NOLOAD);
  if (module == nullptr) LogDlError();
  return module;
}

void ModuleReference::ReleaseOwnModule(void* module) { dlclose(module); }

void ModuleReference::ReleaseOwnModuleAtThreadEnd(void* module) {
  // dlclose itself becomes a thread-exit handler: the C library calls it after
  // this thread's procedure has returned, so even when the module goes with
  // it, nothing returns into the module. The handler's code lives beside
  // dlclose, which is what the last argument names.
  void (*handler)(void*) = reinterpret_cast<void (*)(void*)>(reinterpret_cast<void (*)()>(&dlclose));
  if (abi::__cxa_thread_atexit(handler, module, reinterpret_cast<void*>(&dlclose)) != 0) {
    // Kept for good: the module then stays until the process ends.
    Platform::LogError(QZ_TEXT("ModuleReference::ReleaseAtThreadEnd"),
                       QZ_TEXT("__cxa_thread_atexit() failed"));
  }
}

}  // namespace qz
