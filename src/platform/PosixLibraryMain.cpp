// Load and unload step of libqz.so.
#include "platform/LibraryLoad.h"

__attribute__((constructor)) static void QzLibraryLoad() { qz::CreatePlatform(); }
__attribute__((destructor)) static void QzLibraryUnload() { qz::DestroyPlatform(); }
