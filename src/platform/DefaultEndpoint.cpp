#include "platform/DefaultEndpoint.h"

#include "qz/Configuration.h"
#include "qz/StringBuf.h"

namespace qz {
namespace {

bool EndsWith(const StringBuf& text, const char* suffix) {
  uint64_t n = 0;
  while (suffix[n] != 0) ++n;
  if (text.StrLen() < n) return false;
  const QZChar* tail = text.ToString() + (text.StrLen() - n);
  for (uint64_t i = 0; i < n; ++i) {
    if (tail[i] != static_cast<QZChar>(suffix[i])) return false;
  }
  return true;
}

}  // namespace

void ApplyDefaultEndpointTo(Configuration* configuration) {
  if (configuration == nullptr) return;
  StringBuf location(configuration->GetEndpointLocation());
  if (location.StrLen() == 0) {
    // Set at build time: each deployment has its own collection host.
    location.Append(QZ_DEFAULT_COLLECTION_HOST_TEXT);
    location.Append("/Tessary.Web.Services.Messaging/MessagingServiceV3.svc/Publish");
  } else if (EndsWith(location, ".svc")) {
    location.Append("/Publish");
  }
  configuration->SetEndpointLocation(location);
}

}  // namespace qz
