// The module is this DLL, found by an address inside it; each reference is
// one more count on it.
#include <windows.h>

#include <new>

#include "platform/ModuleReference.h"
#include "platform/Platform.h"

namespace qz {
namespace {

const char kAddressInside = 0;

}  // namespace

void* ModuleReference::AcquireOwnModule() {
  HMODULE module = nullptr;
  if (GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                         reinterpret_cast<LPCWSTR>(&kAddressInside), &module)) {
    return module;
  }
  const QZChar source[] = QZ_TEXT("ModuleReference::Acquire");
  const DWORD error = GetLastError();
  try {
    StringBuf message(QZ_TEXT("GetLastError() = "));
    message.Append(static_cast<uint32_t>(error), 10);
    Platform::LogError(source, message);
  } catch (const std::bad_alloc&) {
    Platform::LogError(source, QZ_TEXT("GetModuleHandleExW() failed"));
  }
  return nullptr;
}

void ModuleReference::ReleaseOwnModule(void* module) { FreeLibrary(static_cast<HMODULE>(module)); }

void ModuleReference::ReleaseOwnModuleAtThreadEnd(void* module) {
  // Ends the thread in the system's code, so no return leads back into a
  // module that may be gone.
  FreeLibraryAndExitThread(static_cast<HMODULE>(module), 0);
}

}  // namespace qz
