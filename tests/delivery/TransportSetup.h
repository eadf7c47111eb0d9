// What a transport test changes on the system around the library, undone when
// the object goes: which certificate authorities are trusted and which proxy
// the system's settings name. Implemented per system.
#ifndef QZ_TESTS_DELIVERY_TRANSPORTSETUP_H
#define QZ_TESTS_DELIVERY_TRANSPORTSETUP_H

#include <string>

namespace qz {
namespace test {

// Transmitters made while it lives trust the authority in the PEM file
// (Linux: as the file libcurl verifies against; Windows: in the machine's
// root store).
class TrustedAuthority {
 public:
  explicit TrustedAuthority(const std::string& pemFile);
  ~TrustedAuthority();
  TrustedAuthority(const TrustedAuthority&) = delete;
  TrustedAuthority& operator=(const TrustedAuthority&) = delete;
  // False, with the reason, when the authority could not be installed.
  bool Installed(std::string* why) const;

 private:
  std::string error;
  std::string thumbprint;  // Windows: the key it was stored under
};

// The system's proxy settings. Linux: https_proxy, with the bypass list as
// no_proxy; Windows: the current user's settings. Restore puts back what
// was there before the first change.
struct SystemProxy {
  // A manual proxy ("host:port") and bypass list (empty: none).
  static bool SetManual(const std::string& proxy, const std::string& bypass, std::string* why);
  // A configuration script at this URL (Windows only: false elsewhere).
  static bool SetScript(const std::string& url, std::string* why);
  static void Restore();
};

// Restores the proxy settings when the test ends, however it ends.
class ProxyRestored {
 public:
  ProxyRestored() = default;
  ~ProxyRestored() { SystemProxy::Restore(); }
  ProxyRestored(const ProxyRestored&) = delete;
  ProxyRestored& operator=(const ProxyRestored&) = delete;
};

}  // namespace test
}  // namespace qz

#endif  // QZ_TESTS_DELIVERY_TRANSPORTSETUP_H
