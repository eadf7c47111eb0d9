/* A C host of an installed qz: the flat functions, and the version the headers
   carry. Prints "qz VERSION"; with an endpoint (host:port/path) it reports a
   short run there. Exits 0 when the library answered as it should. */
#include <stdio.h>

#include "flat_checks.h"
#include "qz/version.h"

int main(int argc, char** argv) {
  int faults = FlatFaults();
  if (argc > 1) faults += FlatPost(argv[1]);
  printf("qz %s\n", QZ_VERSION_STRING);
  return faults;
}
