#include <windows.h>
#include <wincrypt.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <vector>

#include "delivery/TransportSetup.h"

namespace qz {
namespace test {
namespace {

const wchar_t kRoots[] = L"Software\\Microsoft\\SystemCertificates\\Root\\Certificates\\";
const wchar_t kConnections[] =
    L"Software\\Microsoft\\Windows\\CurrentVersion\\Internet Settings\\Connections";
const wchar_t kSettings[] = L"DefaultConnectionSettings";

// The flags of the connection settings record.
constexpr DWORD kDirect = 1;
constexpr DWORD kManualProxy = 2;
constexpr DWORD kScript = 4;

std::wstring Wide(const std::string& text) { return std::wstring(text.begin(), text.end()); }

void Append32(std::vector<BYTE>& out, DWORD value) {
  for (int i = 0; i < 4; ++i) out.push_back(static_cast<BYTE>(value >> (8 * i)));
}
void AppendText(std::vector<BYTE>& out, const std::string& text) {
  Append32(out, static_cast<DWORD>(text.size()));
  out.insert(out.end(), text.begin(), text.end());
}

bool g_changed = false;
bool g_hadSettings = false;
std::vector<BYTE> g_saved;

// The record behind "LAN settings": what WinHttpGetIEProxyConfigForCurrentUser reads.
bool WriteSettings(DWORD flags, const std::string& proxy, const std::string& bypass,
                   const std::string& script, std::string* why) {
  HKEY key;
  if (RegCreateKeyExW(HKEY_CURRENT_USER, kConnections, 0, nullptr, 0, KEY_READ | KEY_WRITE, nullptr,
                      &key, nullptr) != ERROR_SUCCESS) {
    *why = "cannot open the user's connection settings";
    return false;
  }
  if (!g_changed) {
    DWORD type = 0;
    DWORD size = 0;
    g_hadSettings = RegQueryValueExW(key, kSettings, nullptr, &type, nullptr, &size) == ERROR_SUCCESS;
    g_saved.assign(size, 0);
    if (g_hadSettings && size > 0) {
      RegQueryValueExW(key, kSettings, nullptr, &type, g_saved.data(), &size);
    }
    g_changed = true;
  }
  std::vector<BYTE> record;
  Append32(record, 0x46);  // the record's version
  Append32(record, 1);     // how often it was changed
  Append32(record, flags);
  AppendText(record, proxy);
  AppendText(record, bypass);
  AppendText(record, script);
  record.resize(record.size() + 32, 0);
  const LONG written = RegSetValueExW(key, kSettings, 0, REG_BINARY, record.data(),
                                      static_cast<DWORD>(record.size()));
  RegCloseKey(key);
  if (written != ERROR_SUCCESS) *why = "cannot write the user's connection settings";
  return written == ERROR_SUCCESS;
}

}  // namespace

TrustedAuthority::TrustedAuthority(const std::string& pemFile) {
  std::ifstream in(pemFile, std::ios::binary);
  const std::string pem((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  BYTE der[8192];
  DWORD length = sizeof(der);
  if (pem.empty() || !CryptStringToBinaryA(pem.data(), static_cast<DWORD>(pem.size()),
                                           CRYPT_STRING_BASE64HEADER, der, &length, nullptr,
                                           nullptr)) {
    error = "cannot read " + pemFile;
    return;
  }
  HCERTSTORE store = CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0, CERT_SYSTEM_STORE_LOCAL_MACHINE, L"Root");
  PCCERT_CONTEXT added = nullptr;
  if (store == nullptr || !CertAddEncodedCertificateToStore(store, X509_ASN_ENCODING, der, length,
                                                            CERT_STORE_ADD_REPLACE_EXISTING, &added)) {
    error = "cannot add the test authority to the machine's root store";
  } else {
    BYTE hash[20];
    DWORD hashLength = sizeof(hash);
    if (CertGetCertificateContextProperty(added, CERT_SHA1_HASH_PROP_ID, hash, &hashLength)) {
      char hex[3];
      for (DWORD i = 0; i < hashLength; ++i) {
        std::snprintf(hex, sizeof(hex), "%02X", hash[i]);
        thumbprint += hex;
      }
    }
  }
  if (added != nullptr) CertFreeCertificateContext(added);
  if (store != nullptr) CertCloseStore(store, 0);
}

// Wine's store keeps a deleted root, so the registry entry behind it goes.
TrustedAuthority::~TrustedAuthority() {
  if (!thumbprint.empty()) {
    RegDeleteKeyW(HKEY_LOCAL_MACHINE, (kRoots + Wide(thumbprint)).c_str());
  }
}

bool TrustedAuthority::Installed(std::string* why) const {
  if (error.empty()) return true;
  *why = error;
  return false;
}

bool SystemProxy::SetManual(const std::string& proxy, const std::string& bypass, std::string* why) {
  return WriteSettings(proxy.empty() ? kDirect : kDirect | kManualProxy, proxy, bypass, "", why);
}

bool SystemProxy::SetScript(const std::string& url, std::string* why) {
  return WriteSettings(kDirect | kScript, "", "", url, why);
}

void SystemProxy::Restore() {
  if (!g_changed) return;
  HKEY key;
  if (RegOpenKeyExW(HKEY_CURRENT_USER, kConnections, 0, KEY_WRITE, &key) == ERROR_SUCCESS) {
    if (g_hadSettings) {
      RegSetValueExW(key, kSettings, 0, REG_BINARY, g_saved.data(), static_cast<DWORD>(g_saved.size()));
    } else {
      RegDeleteValueW(key, kSettings);
    }
    RegCloseKey(key);
  }
  g_changed = false;
}

}  // namespace test
}  // namespace qz
