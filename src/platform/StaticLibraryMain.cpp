// Load and unload step of the static library, which the host calls itself.
// No module reference: the library is part of the host's own program, which
// cannot be unloaded while the run's threads use it.
#include "qz/qz_static.h"

#include "platform/CaughtException.h"
#include "platform/LibraryLoad.h"

void QZLibraryLoad(void) {
  try {
    qz::CreatePlatform();
  } catch (...) {
    // Without a platform every later call of the library does nothing.
    qz::LogCaughtException(QZ_TEXT("QZLibraryLoad"));
  }
}

void QZLibraryUnload(void) { qz::DestroyPlatform(); }
