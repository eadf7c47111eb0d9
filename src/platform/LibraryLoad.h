// The library's load and unload steps, shared by the Windows DllMain, the Linux
// shared-object constructor and the test programs that link the core directly.
#ifndef QZ_PLATFORM_LIBRARYLOAD_H
#define QZ_PLATFORM_LIBRARYLOAD_H

namespace qz {

// Creates the platform singleton (if there is none) and the run's global lock.
void CreatePlatform();
// Destroys the global lock and the singleton. Does not stop a run, and leaves
// both in place while threads of a run still hold the library's module.
void DestroyPlatform();

}  // namespace qz

#endif  // QZ_PLATFORM_LIBRARYLOAD_H
