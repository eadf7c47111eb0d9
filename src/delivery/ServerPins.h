// The public keys a host accepts from its collector: SHA-256 digests of a
// certificate's SubjectPublicKeyInfo, in base64 as HPKP and curl write them.
#ifndef QZ_DELIVERY_SERVERPINS_H
#define QZ_DELIVERY_SERVERPINS_H

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "qz/StringBuf.h"

namespace qz {

class ServerPins {
 public:
  using Digest = std::array<uint8_t, 32>;

  // Reads "PIN;PIN;...", each PIN 44 characters of base64 (the final "=" may
  // be left out), optionally after "sha256//"; spaces around a pin are
  // ignored. Null or empty text is the empty list. On false (an entry that is
  // no such digest, or text without any) the list is left unchanged.
  bool Parse(const QZChar* text);

  bool IsEmpty() const { return digests.empty(); }
  bool Matches(const Digest& digest) const;
  // "sha256//PIN;sha256//PIN" with each pin in canonical base64, as libcurl
  // takes it; empty for the empty list.
  std::string CurlList() const;

 private:
  std::vector<Digest> digests;
};

}  // namespace qz

#endif  // QZ_DELIVERY_SERVERPINS_H
