// PLACEHOLDER load step of qzwin32.dll; being replaced.
#include <windows.h>

#include "platform/LibraryLoad.h"

BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID) {
  if (reason == DLL_PROCESS_ATTACH) qz::CreatePlatform();
  if (reason == DLL_PROCESS_DETACH) qz::DestroyPlatform();
  return TRUE;
}
