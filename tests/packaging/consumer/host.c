/* A C host of an installed qz: the flat functions, and the version the headers
   carry. Prints "qz VERSION"; exits 0 when the library answered as it should. */
#include <stdio.h>

#include "flat_checks.h"
#include "qz/version.h"

int main(void) {
  int faults = FlatFaults();
  printf("qz %s\n", QZ_VERSION_STRING);
  return faults;
}
