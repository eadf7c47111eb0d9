#include "delivery/Win32XMLTransmitter.h"

#include <cstdlib>

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

}  // namespace

Win32XMLTransmitter::Win32XMLTransmitter(const Configuration& configuration)
    : XMLTransmitter(configuration), httpSession(nullptr), port(0), aborted(false) {
  StringBuf url(useSSL ? QZ_TEXT("https://") : QZ_TEXT("http://"));
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

bool Win32XMLTransmitter::Post(const StringBuf& platformText, const StringBuf& companyId,
                               const StringBuf& applicationId, const StringBuf& messageGroup,
                               const StringBuf& body) {
  lastStatus = 0;
  if (hostName.StrLen() == 0) return false;
  if (body.StrLen() == 0) return true;
  if (aborted.load()) return false;

  if (httpSession == nullptr) {
    httpSession = WinHttpOpen(nullptr, WINHTTP_ACCESS_TYPE_DEFAULT_PROXY, WINHTTP_NO_PROXY_NAME,
                              WINHTTP_NO_PROXY_BYPASS, 0);
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
  }

  if (body.StrLen() > 0x7FFFFFFF) return false;
  int bodyChars = static_cast<int>(body.StrLen());
  int bytes = WideCharToMultiByte(65001, 0, body.ToString(), bodyChars, nullptr, 0, nullptr,
                                  nullptr);
  if (bytes <= 0) return false;
  char* utf8 = static_cast<char*>(std::malloc(static_cast<size_t>(bytes)));
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
        if (useSSL) {
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

        DWORD length = static_cast<DWORD>(bytes);
        if (!WinHttpSendRequest(request.get(), WINHTTP_NO_ADDITIONAL_HEADERS, 0, utf8, length,
                                length, 0)) {
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
          }
        }
      }  // request closed here, before the connection
    }
  }
  std::free(utf8);
  return result;
}

}  // namespace qz
