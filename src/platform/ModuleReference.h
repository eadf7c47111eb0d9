// The library's hold on its own module while one of its threads runs. A host
// that unloads the library in the middle of a run (without ApplicationStop)
// then only drops its own reference: the module stays mapped, the run goes on
// until it is stopped or the process ends, and each thread drops its hold in a
// way that never returns into code that may be gone.
//
// A program that links the static core has no module of its own: only the
// load step of the shared library enables references, and without it every
// reference is null and each call below does nothing.
#ifndef QZ_PLATFORM_MODULEREFERENCE_H
#define QZ_PLATFORM_MODULEREFERENCE_H

namespace qz {

class ModuleReference {
 public:
  // The load step of the shared library.
  static void Enable();
  // A new reference for a thread about to run, or null (not enabled, or the
  // system refused: logged).
  static void* Acquire();
  // Drops a reference that no thread will drop: its thread could not be made
  // or was ended by force. The caller runs in the library with a reference of
  // its own (the host's), so the module stays. Null is ignored.
  static void Release(void* module);
  // The last step of the thread procedure that owns module: drops it once the
  // thread runs no more of the library's code. On Windows the thread ends here
  // (FreeLibraryAndExitThread); on Linux the C library drops it after the
  // procedure has returned. Returns at once for null.
  static void ReleaseAtThreadEnd(void* module);
  // True while some thread of the library holds a reference. The unload step
  // then runs at the process's exit, beside threads still running.
  static bool AnyHeld();

 private:
  // The system's part, in Win32ModuleReference.cpp and PosixModuleReference.cpp.
  static void* AcquireOwnModule();
  static void ReleaseOwnModule(void* module);
  static void ReleaseOwnModuleAtThreadEnd(void* module);
};

}  // namespace qz

#endif  // QZ_PLATFORM_MODULEREFERENCE_H
