// The HTTPS side's certificate: loaded from the given files, or, when they do
// not exist yet, a new self-signed certificate for localhost and 127.0.0.1
// made and saved there first (ECDSA P-256; the library accepts such
// certificates).
#ifndef QZ_COLLECTOR_TLSCONTEXT_H
#define QZ_COLLECTOR_TLSCONTEXT_H

#include <openssl/ssl.h>

#include <string>

namespace qz {
namespace collector {

class TlsContext {
 public:
  ~TlsContext();
  TlsContext() = default;
  TlsContext(const TlsContext&) = delete;
  TlsContext& operator=(const TlsContext&) = delete;

  bool Load(const std::string& certFile, const std::string& keyFile, std::string& error);
  SSL_CTX* Get() const { return context; }

 private:
  SSL_CTX* context = nullptr;
};

}  // namespace collector
}  // namespace qz

#endif  // QZ_COLLECTOR_TLSCONTEXT_H
