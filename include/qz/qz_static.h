/* Load and unload steps for a host linked with the static library (libqz.a,
   CMake target qz::qz_static, which defines QZ_STATIC). The shared library runs
   them itself when it is loaded and unloaded; a static host has no such moment
   and calls them: QZLibraryLoad once before any other call of the library (the
   classes or the flat functions), QZLibraryUnload once at the end, after
   ApplicationStop, when no thread calls the library any more. A second
   QZLibraryLoad without an unload in between does nothing. Compiles as C99 and
   as C++. */
/** @file
    Load and unload steps for a host linked with the static library. */
#ifndef QZ_STATIC_H
#define QZ_STATIC_H

#include "qz/export.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Prepares the library (platform, log, transport); once, before any other
    call of the library. Without it every call does nothing. A second call
    without an unload in between does nothing. Not thread-safe. */
QZ_API void QZLibraryLoad(void);
/** Releases what QZLibraryLoad prepared; once, after ApplicationStop, when
    no thread calls the library any more. */
QZ_API void QZLibraryUnload(void);

#ifdef __cplusplus
}
#endif

#endif /* QZ_STATIC_H */
