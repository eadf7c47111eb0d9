#include <stdlib.h>

#include "delivery/TransportSetup.h"
#include "platform/TestHooks.h"

namespace qz {
namespace test {
namespace {

struct Saved {
  const char* name;
  std::string value;
  bool present;
};
// libcurl reads the lower-case https_proxy only; no_proxy in either case.
Saved g_saved[] = {{"https_proxy", "", false}, {"no_proxy", "", false}, {"NO_PROXY", "", false}};
bool g_changed = false;

void Save() {
  if (g_changed) return;
  for (Saved& saved : g_saved) {
    const char* value = getenv(saved.name);
    saved.present = value != nullptr;
    saved.value = value != nullptr ? value : "";
  }
  g_changed = true;
}

}  // namespace

TrustedAuthority::TrustedAuthority(const std::string& pemFile) {
  testhooks::SetTrustedAuthoritiesFile(pemFile);
}
TrustedAuthority::~TrustedAuthority() { testhooks::SetTrustedAuthoritiesFile(std::string()); }
bool TrustedAuthority::Installed(std::string*) const { return true; }

bool SystemProxy::SetManual(const std::string& proxy, const std::string& bypass, std::string*) {
  Save();
  setenv("https_proxy", ("http://" + proxy).c_str(), 1);
  unsetenv("NO_PROXY");
  if (bypass.empty()) {
    unsetenv("no_proxy");
  } else {
    setenv("no_proxy", bypass.c_str(), 1);
  }
  return true;
}

bool SystemProxy::SetScript(const std::string&, std::string* why) {
  *why = "libcurl reads no proxy configuration scripts";
  return false;
}

void SystemProxy::Restore() {
  if (!g_changed) return;
  for (const Saved& saved : g_saved) {
    if (saved.present) {
      setenv(saved.name, saved.value.c_str(), 1);
    } else {
      unsetenv(saved.name);
    }
  }
  g_changed = false;
}

}  // namespace test
}  // namespace qz
