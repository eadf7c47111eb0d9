/* What the C hosts of an installed qz ask of its flat functions; no C library
   calls, so a host without a C run-time library can use it too. */
#ifndef QZ_CONSUMER_FLAT_CHECKS_H
#define QZ_CONSUMER_FLAT_CHECKS_H

#include <stddef.h>

#include "qz/qz_flat.h"

/* ASCII to the library's UTF-16. */
static const QZChar* T(const char* text, QZChar* out) {
  int i = 0;
  for (; text[i] != 0; ++i) out[i] = (QZChar)text[i];
  out[i] = 0;
  return out;
}

static QZConfiguration* NewConfiguration(void) {
  QZChar a[64];
  QZConfiguration* config = CreateConfiguration();
  if (config == NULL) return NULL;
  SetCompanyID(config, T("9531985D-5D9D-49F8-9818-E811892F902B", a));
  SetApplicationID(config, T("36F675CC-81E7-4EF5-A8E2-5D940ED90475", a));
  return config;
}

/* The number of wrong answers. */
static int FlatFaults(void) {
  QZChar a[64], b[64];
  int faults = 0;
  QZConfiguration* config = NewConfiguration();
  if (config == NULL) return 1;
  /* The library checks identifiers itself: a malformed one is refused. */
  if (!SetDefaultIDs(config, T("D23F0824-128B-4F33-8C5C-7FD0A6A3A450", a),
                     T("6513270E-269E-4D37-B2A7-4DE452E6B438", b))) {
    ++faults;
  }
  if (SetDefaultIDs(config, T("not a GUID", a), T("not a GUID either", b))) ++faults;
  /* Without opt-in the run does not start: no thread, no network. */
  SetInitialOptIn(config, 0);
  if (ApplicationStart(config, NULL, NULL, NULL)) ++faults;
  if (IsApplicationStarted()) ++faults;
  DeleteConfiguration(config);
  return faults;
}

#ifndef QZ_CONSUMER_NO_POST
/* Reports a short run to ENDPOINT (host:port/path), over HTTPS when https is
   not 0; the stop posts what is queued. 1 when the run did not start. */
static int FlatPost(const char* endpoint, int https) {
  QZChar a[256];
  int started;
  QZConfiguration* config = NewConfiguration();
  if (config == NULL) return 1;
  SetEndpointLocation(config, T(endpoint, a));
  SetEndpointUseSSL(config, https);
  SetSupportOfflineStorage(config, 0);
  started = ApplicationStart(config, NULL, NULL, NULL);
  if (started) {
    FeatureTick(T("Consumer", a), NULL, NULL, NULL);
    ApplicationStop(NULL, NULL);
  }
  DeleteConfiguration(config);
  return started ? 0 : 1;
}
#endif

#endif /* QZ_CONSUMER_FLAT_CHECKS_H */
