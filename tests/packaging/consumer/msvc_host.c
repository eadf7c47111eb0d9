/* A host built with an MSVC-compatible compiler and linker (clang for the
   x86_64-pc-windows-msvc target, lld-link) against the SDK's qzwin32.lib. It
   has no C run-time library: the exit status is the number of wrong answers. */
/* No command line to read without a C library: no run is posted. */
#define QZ_CONSUMER_NO_POST
#include "flat_checks.h"

int mainCRTStartup(void) { return FlatFaults(); }
