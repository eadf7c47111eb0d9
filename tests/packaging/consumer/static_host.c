/* A C host linked with the static library: it runs the load and unload steps
   itself, around the same calls as host.c. */
#include <stdio.h>

#include "flat_checks.h"
#include "qz/qz_static.h"
#include "qz/version.h"

int main(int argc, char** argv) {
  int faults;
  QZLibraryLoad();
  faults = FlatFaults();
  if (argc > 1) faults += FlatPost(argv[1], argc > 2);
  QZLibraryUnload();
  printf("qz %s\n", QZ_VERSION_STRING);
  return faults;
}
