// Load and unload step of qzwin32.dll.
#include <windows.h>

#include "platform/LibraryLoad.h"
#include "platform/ModuleReference.h"
#include "platform/Win32Platform.h"

BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID) {
  switch (reason) {
    case DLL_PROCESS_ATTACH:
      qz::ModuleReference::Enable();
      qz::Win32Platform::RegisterEventLogSource(module, 1);
      qz::CreatePlatform();
      break;
    case DLL_PROCESS_DETACH:
      qz::DestroyPlatform();
      break;
    default:
      break;
  }
  return TRUE;
}
