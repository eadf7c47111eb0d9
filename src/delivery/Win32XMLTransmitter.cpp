#include "delivery/Win32XMLTransmitter.h"

#include <wincrypt.h>

#include <cstdlib>
#include <memory>

#include "platform/Platform.h"
#include "qz/Configuration.h"

namespace qz {
namespace {

const QZChar kPostSource[] = QZ_TEXT("Win32XMLTransmitter::Post");

static_assert(sizeof(URL_COMPONENTS) == 104, "URL_COMPONENTS layout differs from Win64");

// Request and connection are per post; the session outlives them.
class HandleGuard {
 public:
  explicit HandleGuard(HINTERNET h) : handle(h) {}
  ~HandleGuard() {
    if (handle != nullptr) WinHttpCloseHandle(handle);
  }
  HandleGuard(const HandleGuard&) = delete;
  HandleGuard& operator=(const HandleGuard&) = delete;
  HINTERNET get() const { return handle; }

 private:
  HINTERNET handle;
};

void AddHeader(HINTERNET request, const StringBuf& header) {
  WinHttpAddRequestHeaders(request, header.ToString(), static_cast<DWORD>(-1L),
                           WINHTTP_ADDREQ_FLAG_ADD);
}

void AddHeader(HINTERNET request, const QZChar* name, const StringBuf& value) {
  StringBuf header(name);
  header.Append(value);
  AddHeader(request, header);
}

void AppendError(StringBuf& message, DWORD error) {
  message.Append(QZ_TEXT("GetLastError() = ")).Append(static_cast<uint32_t>(error), 10);
}

// Collects the reasons WinHTTP gives for a certificate it did not accept.
void CALLBACK OnSecureFailure(HINTERNET, DWORD_PTR context, DWORD status, LPVOID information,
                              DWORD length) {
  if (status == WINHTTP_CALLBACK_STATUS_SECURE_FAILURE && context != 0 && information != nullptr &&
      length >= sizeof(DWORD)) {
    *reinterpret_cast<DWORD*>(context) |= *static_cast<DWORD*>(information);
  }
}

bool IsSecureError(DWORD error) {
  switch (error) {
    case ERROR_WINHTTP_SECURE_FAILURE:
    case ERROR_WINHTTP_SECURE_CHANNEL_ERROR:
    case ERROR_WINHTTP_SECURE_INVALID_CA:
    case ERROR_WINHTTP_SECURE_CERT_CN_INVALID:
    case ERROR_WINHTTP_SECURE_CERT_DATE_INVALID:
    case ERROR_WINHTTP_SECURE_CERT_REV_FAILED:
    case ERROR_WINHTTP_SECURE_CERT_REVOKED:
    case ERROR_WINHTTP_SECURE_CERT_WRONG_USAGE:
    case ERROR_WINHTTP_SECURE_INVALID_CERT:
      return true;
    default:
      return false;
  }
}

// SHA-256 of the server certificate's SubjectPublicKeyInfo, the value pins name.
bool ServerKeyDigest(HINTERNET request, ServerPins::Digest& digest) {
  PCCERT_CONTEXT certificate = nullptr;
  DWORD size = sizeof(certificate);
  if (!WinHttpQueryOption(request, WINHTTP_OPTION_SERVER_CERT_CONTEXT, &certificate, &size) ||
      certificate == nullptr) {
    return false;
  }
  BYTE* key = nullptr;
  DWORD keyLength = 0;
  const BOOL encoded = CryptEncodeObjectEx(X509_ASN_ENCODING, X509_PUBLIC_KEY_INFO,
                                           &certificate->pCertInfo->SubjectPublicKeyInfo,
                                           CRYPT_ENCODE_ALLOC_FLAG, nullptr, &key, &keyLength);
  CertFreeCertificateContext(certificate);
  if (!encoded) return false;
  bool hashed = false;
  HCRYPTPROV provider = 0;
  if (CryptAcquireContextW(&provider, nullptr, nullptr, PROV_RSA_AES, CRYPT_VERIFYCONTEXT)) {
    HCRYPTHASH hash = 0;
    if (CryptCreateHash(provider, CALG_SHA_256, 0, 0, &hash)) {
      DWORD length = static_cast<DWORD>(digest.size());
      hashed = CryptHashData(hash, key, keyLength, 0) &&
               CryptGetHashParam(hash, HP_HASHVAL, digest.data(), &length, 0) &&
               length == digest.size();
      CryptDestroyHash(hash);
    }
    CryptReleaseContext(provider, 0);
  }
  LocalFree(key);
  return hashed;
}

// Frees what WinHttpGetIEProxyConfigForCurrentUser returned.
class UserProxySettings {
 public:
  UserProxySettings() { ZeroMemory(&settings, sizeof(settings)); }
  ~UserProxySettings() {
    if (settings.lpszAutoConfigUrl != nullptr) GlobalFree(settings.lpszAutoConfigUrl);
    if (settings.lpszProxy != nullptr) GlobalFree(settings.lpszProxy);
    if (settings.lpszProxyBypass != nullptr) GlobalFree(settings.lpszProxyBypass);
  }
  UserProxySettings(const UserProxySettings&) = delete;
  UserProxySettings& operator=(const UserProxySettings&) = delete;
  WINHTTP_CURRENT_USER_IE_PROXY_CONFIG settings;
};

// The Retry-After value of the answer in ASCII, into value; its length, 0
// without one.
size_t RetryAfterHeader(HINTERNET request, char (&value)[257]) {
  WCHAR wide[257];
  DWORD size = sizeof(wide);
  if (!WinHttpQueryHeaders(request, WINHTTP_QUERY_CUSTOM, L"Retry-After", wide, &size,
                           WINHTTP_NO_HEADER_INDEX)) {
    // Longer than any date or number: not a value to read.
    if (GetLastError() != ERROR_INSUFFICIENT_BUFFER) return 0;
    value[0] = '-';
    return 1;
  }
  size_t length = 0;
  for (DWORD i = 0; i < size / sizeof(WCHAR) && i < 256 && wide[i] != 0; ++i) {
    value[length++] = wide[i] < 0x80 ? static_cast<char>(wide[i]) : '?';
  }
  return length;
}

}  // namespace

Win32XMLTransmitter::Win32XMLTransmitter(const Configuration& configuration)
    : XMLTransmitter(configuration), httpSession(nullptr), port(0), aborted(false) {
  url.Append(useSSL ? QZ_TEXT("https://") : QZ_TEXT("http://"));
  url.Append(endpointLocation);

  URL_COMPONENTS parts;
  ZeroMemory(&parts, sizeof(parts));
  parts.dwStructSize = sizeof(parts);
  // -1 asks for positions inside url rather than copies.
  parts.dwHostNameLength = static_cast<DWORD>(-1);
  parts.dwUrlPathLength = static_cast<DWORD>(-1);
  if (WinHttpCrackUrl(url.ToString(), static_cast<DWORD>(url.StrLen()), 0, &parts) &&
      parts.lpszHostName != nullptr) {
    hostName.Append(url, static_cast<uint64_t>(parts.lpszHostName - url.ToString()),
                    parts.dwHostNameLength);
    port = parts.nPort;
    if (parts.lpszUrlPath != nullptr) {
      uint64_t start = static_cast<uint64_t>(parts.lpszUrlPath - url.ToString());
      urlPath.Append(url, start, url.StrLen() - start);
    }
  } else {
    StringBuf message(QZ_TEXT("Unable to parse URL "));
    message.Append(url);
    Platform::LogError(QZ_TEXT("Win32XMLTransmitter::Win32XMLTransmitter"), message);
  }
}

Win32XMLTransmitter::~Win32XMLTransmitter() {
  if (httpSession != nullptr) WinHttpCloseHandle(httpSession);
}

bool Win32XMLTransmitter::OpenSession() {
  DWORD access = WINHTTP_ACCESS_TYPE_DEFAULT_PROXY;
  StringBuf proxy;
  StringBuf bypass;
  if (useSystemProxy) {
    FindSystemProxy(proxy, bypass);
    access = proxy.StrLen() > 0 ? WINHTTP_ACCESS_TYPE_NAMED_PROXY : WINHTTP_ACCESS_TYPE_NO_PROXY;
  }
  httpSession = WinHttpOpen(nullptr, access,
                            proxy.StrLen() > 0 ? proxy.ToString() : WINHTTP_NO_PROXY_NAME,
                            bypass.StrLen() > 0 ? bypass.ToString() : WINHTTP_NO_PROXY_BYPASS, 0);
  if (httpSession == nullptr) {
    Platform::LogError(kPostSource, QZ_TEXT("WinHttpOpen() failed"));
    return false;
  }
  int t = endpointTimeout;
  if (!WinHttpSetTimeouts(httpSession, t, t, t, t)) {
    // The session stays; later posts go without these limits rather than
    // retrying a call that has already failed once.
    Platform::LogError(kPostSource, QZ_TEXT("WinHttpSetTimeouts() failed"));
    return false;
  }
  return true;
}

void Win32XMLTransmitter::FindSystemProxy(StringBuf& proxy, StringBuf& bypass) {
  UserProxySettings user;
  const WINHTTP_CURRENT_USER_IE_PROXY_CONFIG& settings = user.settings;
  if (!WinHttpGetIEProxyConfigForCurrentUser(&user.settings)) {
    StringBuf message(QZ_TEXT("The user's proxy settings cannot be read, posting directly: "));
    AppendError(message, GetLastError());
    LogOnce(Once::kProxy, Platform::LOG_WARN, kPostSource, message);
    return;
  }
  if (settings.fAutoDetect || settings.lpszAutoConfigUrl != nullptr) {
    WINHTTP_AUTOPROXY_OPTIONS options;
    ZeroMemory(&options, sizeof(options));
    if (settings.fAutoDetect) {
      options.dwFlags |= WINHTTP_AUTOPROXY_AUTO_DETECT;
      options.dwAutoDetectFlags = WINHTTP_AUTO_DETECT_TYPE_DHCP | WINHTTP_AUTO_DETECT_TYPE_DNS_A;
    }
    if (settings.lpszAutoConfigUrl != nullptr) {
      options.dwFlags |= WINHTTP_AUTOPROXY_CONFIG_URL;
      options.lpszAutoConfigUrl = settings.lpszAutoConfigUrl;
    }
    // A configuration script behind an intranet server's sign-in.
    options.fAutoLogonIfChallenged = TRUE;
    // The script is fetched directly, and no longer than a post may take.
    HandleGuard lookup(WinHttpOpen(nullptr, WINHTTP_ACCESS_TYPE_NO_PROXY, WINHTTP_NO_PROXY_NAME,
                                   WINHTTP_NO_PROXY_BYPASS, 0));
    const int t = endpointTimeout;
    WINHTTP_PROXY_INFO found;
    ZeroMemory(&found, sizeof(found));
    if (lookup.get() != nullptr && WinHttpSetTimeouts(lookup.get(), t, t, t, t) &&
        WinHttpGetProxyForUrl(lookup.get(), url.ToString(), &options, &found)) {
      if (found.dwAccessType == WINHTTP_ACCESS_TYPE_NAMED_PROXY && found.lpszProxy != nullptr) {
        proxy = found.lpszProxy;
        if (found.lpszProxyBypass != nullptr) bypass = found.lpszProxyBypass;
      }
      if (found.lpszProxy != nullptr) GlobalFree(found.lpszProxy);
      if (found.lpszProxyBypass != nullptr) GlobalFree(found.lpszProxyBypass);
      return;
    }
    const DWORD error = GetLastError();
    // Browsers fall back to the manual proxy too.
    if (settings.lpszProxy == nullptr) {
      StringBuf message(QZ_TEXT("No proxy found by the user's automatic settings, posting directly: "));
      AppendError(message, error);
      LogOnce(Once::kProxy, Platform::LOG_WARN, kPostSource, message);
      return;
    }
  }
  if (settings.lpszProxy != nullptr) {
    proxy = settings.lpszProxy;
    if (settings.lpszProxyBypass != nullptr) bypass = settings.lpszProxyBypass;
  }
}

bool Win32XMLTransmitter::Send(HINTERNET request, const char* utf8, DWORD length) {
  DWORD secureFlags = 0;
  DWORD_PTR context = 0;
  if (useSSL && verifyServerCertificate) {
    WinHttpSetStatusCallback(request, &OnSecureFailure, WINHTTP_CALLBACK_FLAG_SECURE_FAILURE, 0);
    context = reinterpret_cast<DWORD_PTR>(&secureFlags);
  }
  if (!useSSL || serverPins.IsEmpty()) {
    if (WinHttpSendRequest(request, WINHTTP_NO_ADDITIONAL_HEADERS, 0, const_cast<char*>(utf8),
                           length, length, context)) {
      return true;
    }
    const DWORD error = GetLastError();
    if (context != 0 && IsSecureError(error)) LogSecureFailure(error, secureFlags);
    return false;
  }
  // Pinned: the request goes out first, and the body only to a server whose
  // key matched, so that an impostor never reads a batch.
  if (!WinHttpSendRequest(request, WINHTTP_NO_ADDITIONAL_HEADERS, 0, WINHTTP_NO_REQUEST_DATA, 0,
                          length, context)) {
    const DWORD error = GetLastError();
    if (context != 0 && IsSecureError(error)) LogSecureFailure(error, secureFlags);
    return false;
  }
  ServerPins::Digest digest;
  if (!ServerKeyDigest(request, digest) || !serverPins.Matches(digest)) {
    LogOnce(Once::kCertificate, Platform::LOG_ERROR, kPostSource,
            StringBuf(QZ_TEXT("Server certificate refused: its public key matches no pin")));
    return false;
  }
  for (DWORD sent = 0; sent < length;) {
    DWORD written = 0;
    if (!WinHttpWriteData(request, utf8 + sent, length - sent, &written) || written == 0) return false;
    sent += written;
  }
  return true;
}

void Win32XMLTransmitter::LogSecureFailure(DWORD error, DWORD flags) {
  static const struct {
    DWORD flag;
    DWORD error;
    const QZChar* reason;
  } kReasons[] = {
      {WINHTTP_CALLBACK_STATUS_FLAG_INVALID_CA, ERROR_WINHTTP_SECURE_INVALID_CA,
       QZ_TEXT("unknown or untrusted authority")},
      {WINHTTP_CALLBACK_STATUS_FLAG_CERT_CN_INVALID, ERROR_WINHTTP_SECURE_CERT_CN_INVALID,
       QZ_TEXT("issued for another host name")},
      {WINHTTP_CALLBACK_STATUS_FLAG_CERT_DATE_INVALID, ERROR_WINHTTP_SECURE_CERT_DATE_INVALID,
       QZ_TEXT("expired or not yet valid")},
      {WINHTTP_CALLBACK_STATUS_FLAG_CERT_REVOKED, ERROR_WINHTTP_SECURE_CERT_REVOKED,
       QZ_TEXT("revoked")},
      {WINHTTP_CALLBACK_STATUS_FLAG_CERT_REV_FAILED, ERROR_WINHTTP_SECURE_CERT_REV_FAILED,
       QZ_TEXT("revocation could not be checked")},
      {WINHTTP_CALLBACK_STATUS_FLAG_INVALID_CERT, ERROR_WINHTTP_SECURE_INVALID_CERT,
       QZ_TEXT("invalid certificate")},
      {WINHTTP_CALLBACK_STATUS_FLAG_CERT_WRONG_USAGE, ERROR_WINHTTP_SECURE_CERT_WRONG_USAGE,
       QZ_TEXT("not for server authentication")},
      {WINHTTP_CALLBACK_STATUS_FLAG_SECURITY_CHANNEL_ERROR, ERROR_WINHTTP_SECURE_CHANNEL_ERROR,
       QZ_TEXT("secure channel error")}};
  StringBuf message(QZ_TEXT("Server certificate refused: "));
  bool named = false;
  for (const auto& reason : kReasons) {
    if ((flags & reason.flag) != 0 || (flags == 0 && error == reason.error)) {
      if (named) message.Append(QZ_TEXT(", "));
      message.Append(reason.reason);
      named = true;
    }
  }
  if (!named) message.Append(QZ_TEXT("secure connection failed"));
  message.Append(QZ_TEXT(" ("));
  AppendError(message, error);
  message.Append(QZ_TEXT(")"));
  LogOnce(Once::kCertificate, Platform::LOG_ERROR, kPostSource, message);
}

bool Win32XMLTransmitter::Post(const StringBuf& platformText, const StringBuf& companyId,
                               const StringBuf& applicationId, const StringBuf& messageGroup,
                               const StringBuf& body) {
  lastStatus = 0;
  lastRetryAfter = -1;
  if (hostName.StrLen() == 0) return false;
  if (body.StrLen() == 0) return true;
  if (aborted.load()) return false;

  if (httpSession != nullptr && findProxyAgain) {
    WinHttpCloseHandle(httpSession);
    httpSession = nullptr;
  }
  findProxyAgain = false;
  if (httpSession == nullptr && !OpenSession()) return false;

  if (body.StrLen() > 0x7FFFFFFF) return false;
  int bodyChars = static_cast<int>(body.StrLen());
  int bytes = WideCharToMultiByte(65001, 0, body.ToString(), bodyChars, nullptr, 0, nullptr,
                                  nullptr);
  if (bytes <= 0) return false;
  std::unique_ptr<char, void (*)(void*)> buffer(
      static_cast<char*>(std::malloc(static_cast<size_t>(bytes))), &std::free);
  char* utf8 = buffer.get();
  if (utf8 == nullptr) return false;
  bool result = false;
  if (WideCharToMultiByte(65001, 0, body.ToString(), bodyChars, utf8, bytes, nullptr,
                          nullptr) == bytes) {
    HandleGuard connection(WinHttpConnect(httpSession, hostName.ToString(), port, 0));
    if (connection.get() == nullptr) {
      Platform::LogWarn(kPostSource, QZ_TEXT("Connect failed"));
    } else {
      HandleGuard request(WinHttpOpenRequest(connection.get(), L"POST", urlPath.ToString(),
                                             nullptr, WINHTTP_NO_REFERER,
                                             WINHTTP_DEFAULT_ACCEPT_TYPES,
                                             useSSL ? WINHTTP_FLAG_SECURE : 0));
      if (request.get() == nullptr) {
        Platform::LogWarn(kPostSource, QZ_TEXT("Send Request failed"));
      } else {
        if (useSSL && !verifyServerCertificate) {
          // Collectors often sit behind self-signed or mismatched certificates.
          DWORD flags = SECURITY_FLAG_IGNORE_UNKNOWN_CA | SECURITY_FLAG_IGNORE_CERT_CN_INVALID |
                        SECURITY_FLAG_IGNORE_CERT_DATE_INVALID;
          WinHttpSetOption(request.get(), WINHTTP_OPTION_SECURITY_FLAGS, &flags, sizeof(flags));
        }
        // The wait for the answer's headers has a limit of its own, which not
        // every WinHTTP derives from the receive timeout.
        DWORD wait = static_cast<DWORD>(endpointTimeout);
        WinHttpSetOption(request.get(), WINHTTP_OPTION_RECEIVE_RESPONSE_TIMEOUT, &wait, sizeof(wait));
        // A redirect is the endpoint's answer, not an instruction to post the
        // batch elsewhere: 3xx must reach the status check below.
        DWORD disable = WINHTTP_DISABLE_REDIRECTS;
        WinHttpSetOption(request.get(), WINHTTP_OPTION_DISABLE_FEATURE, &disable, sizeof(disable));
        AddHeader(request.get(), StringBuf(QZ_TEXT("Content-Type: text/xml;charset=UTF-8")));
        AddHeader(request.get(), StringBuf(QZ_TEXT("Cache-control: no-cache, no-store")));
        AddHeader(request.get(), StringBuf(QZ_TEXT("Pragma: no-cache")));
        SYSTEMTIME now;
        GetSystemTime(&now);
        WCHAR date[63];  // 126 bytes
        if (WinHttpTimeFromSystemTime(&now, date)) AddHeader(request.get(), QZ_TEXT("Date: "), date);
        AddHeader(request.get(), QZ_TEXT("X-QZ-CID: "), companyId);
        AddHeader(request.get(), QZ_TEXT("X-QZ-AID: "), applicationId);
        AddHeader(request.get(), QZ_TEXT("X-QZ-GID: "), messageGroup);
        AddHeader(request.get(), QZ_TEXT("X-QZ-API: "), platformText);

        if (!Send(request.get(), utf8, static_cast<DWORD>(bytes))) {
          Platform::LogWarn(kPostSource, QZ_TEXT("Send Request failed"));
        } else if (WinHttpReceiveResponse(request.get(), nullptr)) {
          DWORD status = 0;
          DWORD size = sizeof(status);
          if (!WinHttpQueryHeaders(request.get(),
                                   WINHTTP_QUERY_STATUS_CODE | WINHTTP_QUERY_FLAG_NUMBER,
                                   WINHTTP_HEADER_NAME_BY_INDEX, &status, &size,
                                   WINHTTP_NO_HEADER_INDEX)) {
            Platform::LogWarn(kPostSource, QZ_TEXT("Query Headers failed"));
          } else {
            lastStatus = static_cast<int32_t>(status);
          }
          if (lastStatus / 100 == 2) {
            result = true;
          } else if (lastStatus != 0) {
            StringBuf message(QZ_TEXT("QZ server returned "));
            message.Append(static_cast<uint32_t>(status), 10);
            Platform::LogWarn(kPostSource, message);
            char retryAfter[257];
            NoteRetryAfter(lastStatus, retryAfter, RetryAfterHeader(request.get(), retryAfter));
          }
        }
      }  // request closed here, before the connection
    }
  }
  // No answer at all: perhaps the network changed, and the proxy with it.
  if (useSystemProxy && lastStatus == 0 && !result) findProxyAgain = true;
  return result;
}

}  // namespace qz
