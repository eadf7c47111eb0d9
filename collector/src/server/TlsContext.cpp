#include "server/TlsContext.h"

#include <fcntl.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/evp.h>
#include <openssl/x509v3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <memory>

#include "common/Log.h"

namespace qz {
namespace collector {

namespace {

std::string OpenSslError(const std::string& what) {
  char text[256] = "";
  ERR_error_string_n(ERR_get_error(), text, sizeof text);
  return what + ": " + text;
}

bool Exists(const std::string& path) { return ::access(path.c_str(), F_OK) == 0; }

// A new file for its owner alone, as everything the collector makes.
FILE* Create(const std::string& path) {
  const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  return fd < 0 ? nullptr : fdopen(fd, "w");
}

bool MakeSelfSigned(const std::string& certFile, const std::string& keyFile, std::string& error) {
  // ECDSA P-256: a handshake signs with it in a fraction of RSA-2048's time.
  std::unique_ptr<EVP_PKEY, void (*)(EVP_PKEY*)> key(EVP_EC_gen("P-256"), EVP_PKEY_free);
  std::unique_ptr<X509, void (*)(X509*)> cert(X509_new(), X509_free);
  if (!key || !cert) {
    error = OpenSslError("cannot make a key");
    return false;
  }
  X509_set_version(cert.get(), 2);
  ASN1_INTEGER_set(X509_get_serialNumber(cert.get()), static_cast<long>(time(nullptr)));
  X509_gmtime_adj(X509_getm_notBefore(cert.get()), -86400);
  X509_gmtime_adj(X509_getm_notAfter(cert.get()), 10L * 365 * 86400);
  X509_set_pubkey(cert.get(), key.get());
  X509_NAME* name = X509_get_subject_name(cert.get());
  X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, reinterpret_cast<const unsigned char*>("localhost"),
                             -1, -1, 0);
  X509_NAME_add_entry_by_txt(name, "O", MBSTRING_ASC, reinterpret_cast<const unsigned char*>("qz-collector"),
                             -1, -1, 0);
  X509_set_issuer_name(cert.get(), name);
  X509V3_CTX v3;
  X509V3_set_ctx_nodb(&v3);
  X509V3_set_ctx(&v3, cert.get(), cert.get(), nullptr, nullptr, 0);
  X509_EXTENSION* san = X509V3_EXT_conf_nid(nullptr, &v3, NID_subject_alt_name, "DNS:localhost,IP:127.0.0.1");
  if (san != nullptr) {
    X509_add_ext(cert.get(), san, -1);
    X509_EXTENSION_free(san);
  }
  if (X509_sign(cert.get(), key.get(), EVP_sha256()) == 0) {
    error = OpenSslError("cannot sign the certificate");
    return false;
  }
  FILE* keyOut = Create(keyFile);
  const bool keyWritten =
      keyOut != nullptr && PEM_write_PrivateKey(keyOut, key.get(), nullptr, nullptr, 0, nullptr, nullptr) == 1;
  if (keyOut != nullptr) std::fclose(keyOut);
  FILE* certOut = keyWritten ? Create(certFile) : nullptr;
  const bool certWritten = certOut != nullptr && PEM_write_X509(certOut, cert.get()) == 1;
  if (certOut != nullptr) std::fclose(certOut);
  if (!certWritten) {
    error = "cannot write " + (keyWritten ? certFile : keyFile);
    return false;
  }
  Log::Warn("TlsContext", "made a self-signed certificate in " + certFile);
  return true;
}

}  // namespace

TlsContext::~TlsContext() { SSL_CTX_free(context); }

bool TlsContext::Load(const std::string& certFile, const std::string& keyFile, std::string& error) {
  if (!Exists(certFile) && !Exists(keyFile) && !MakeSelfSigned(certFile, keyFile, error)) return false;
  context = SSL_CTX_new(TLS_server_method());
  if (context == nullptr) {
    error = OpenSslError("cannot make a TLS context");
    return false;
  }
  SSL_CTX_set_min_proto_version(context, TLS1_2_VERSION);
  SSL_CTX_set_mode(context, SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER);
  // One resumption ticket per handshake (the default is two): a client that
  // posts through one handle resumes with it, and the second is work for nothing.
  SSL_CTX_set_num_tickets(context, 1);
  if (SSL_CTX_use_certificate_chain_file(context, certFile.c_str()) != 1 ||
      SSL_CTX_use_PrivateKey_file(context, keyFile.c_str(), SSL_FILETYPE_PEM) != 1 ||
      SSL_CTX_check_private_key(context) != 1) {
    error = OpenSslError("cannot use " + certFile + " and " + keyFile);
    return false;
  }
  return true;
}

}  // namespace collector
}  // namespace qz
