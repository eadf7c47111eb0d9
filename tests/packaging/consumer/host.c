/* A C host of an installed qz: the flat functions, and the version the headers
   carry. Prints "qz VERSION"; with an endpoint (host:port/path) it reports a
   short run there, over HTTPS when a second argument follows. Exits 0 when the
   library answered as it should. */
#include <stdio.h>

#include "flat_checks.h"
#include "qz/version.h"

/* C11 and later spell UTF-16 texts with QZ_TEXT, as C++ does. */
#if defined(__STDC_VERSION__) && __STDC_VERSION__ >= 201112L && !defined(QZ_TEXT)
#  error "qz/export.h gives C11 no QZ_TEXT"
#endif
#ifdef QZ_TEXT
static const QZChar* const kCompanyID = QZ_TEXT("9531985D-5D9D-49F8-9818-E811892F902B");
#endif

int main(int argc, char** argv) {
  int faults = FlatFaults();
#ifdef QZ_TEXT
  {
    /* A literal's units are the library's: the ID it spells is accepted. */
    QZChar a[64];
    const QZChar* spelled = T("9531985D-5D9D-49F8-9818-E811892F902B", a);
    int i = 0;
    for (; spelled[i] != 0 && spelled[i] == kCompanyID[i]; ++i) {
    }
    if (spelled[i] != kCompanyID[i]) ++faults;
  }
#endif
  if (argc > 1) faults += FlatPost(argv[1], argc > 2);
  printf("qz %s\n", QZ_VERSION_STRING);
  return faults;
}
