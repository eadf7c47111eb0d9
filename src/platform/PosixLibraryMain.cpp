// Load and unload step of libqz.so.
#include "platform/LibraryLoad.h"
#include "platform/ModuleReference.h"

__attribute__((constructor)) static void QzLibraryLoad() {
  qz::ModuleReference::Enable();
  qz::CreatePlatform();
}
__attribute__((destructor)) static void QzLibraryUnload() { qz::DestroyPlatform(); }
