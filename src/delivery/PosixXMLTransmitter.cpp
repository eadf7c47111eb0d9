#include "delivery/PosixXMLTransmitter.h"

#include <time.h>

#include <climits>
#include <cstdio>
#include <cstring>
#include <new>

#include "platform/Platform.h"
#include "platform/TestHooks.h"
#include "qz/Configuration.h"
#include "types/Utf8.h"

namespace qz {
namespace {

const QZChar kPostSource[] = QZ_TEXT("PosixXMLTransmitter::Post");

// The HTTP date form, always in English whatever the locale.
std::string HttpDate() {
  static const char* const kDays[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
  static const char* const kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                        "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  time_t now = time(nullptr);
  struct tm utc;
  if (gmtime_r(&now, &utc) == nullptr) return std::string();
  char text[64];
  std::snprintf(text, sizeof(text), "%s, %02d %s %04d %02d:%02d:%02d GMT", kDays[utc.tm_wday % 7],
                utc.tm_mday, kMonths[utc.tm_mon % 12], utc.tm_year + 1900, utc.tm_hour,
                utc.tm_min, utc.tm_sec);
  return text;
}

bool Append(curl_slist*& list, const std::string& header) {
  curl_slist* longer = curl_slist_append(list, header.c_str());
  if (longer == nullptr) return false;
  list = longer;
  return true;
}

class HeaderList {
 public:
  ~HeaderList() { curl_slist_free_all(list); }
  curl_slist* list = nullptr;
};

// How libcurl says that the server's certificate or key was not accepted.
bool IsCertificateFailure(CURLcode rc) {
  return rc == CURLE_PEER_FAILED_VERIFICATION || rc == CURLE_SSL_PINNEDPUBKEYNOTMATCH ||
         rc == CURLE_SSL_CACERT_BADFILE || rc == CURLE_SSL_INVALIDCERTSTATUS;
}

bool StartsWithNoCase(const char* text, size_t length, const char* prefix) {
  size_t i = 0;
  for (; prefix[i] != 0; ++i) {
    if (i == length) return false;
    char c = text[i];
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    if (c != prefix[i]) return false;
  }
  return true;
}

}  // namespace

PosixXMLTransmitter::PosixXMLTransmitter(const Configuration& configuration)
    : XMLTransmitter(configuration), httpSession(nullptr), aborted(false), deadline(0) {
  errorText[0] = 0;
  pinList = serverPins.CurlList();
  authorities = testhooks::GetTrustedAuthoritiesFile();
  std::string candidate = useSSL ? "https://" : "http://";
  candidate += ToUtf8(endpointLocation);

  // Parse once here so that a bad endpoint is reported once, not per post.
  bool ok = false;
  CURLU* parsed = curl_url();
  if (parsed != nullptr && curl_url_set(parsed, CURLUPART_URL, candidate.c_str(), 0) == CURLUE_OK) {
    char* host = nullptr;
    if (curl_url_get(parsed, CURLUPART_HOST, &host, 0) == CURLUE_OK && host != nullptr &&
        host[0] != 0) {
      ok = true;
    }
    curl_free(host);
  }
  curl_url_cleanup(parsed);

  if (ok) {
    url = candidate;
  } else {
    StringBuf message(QZ_TEXT("Unable to parse URL "));
    message.Append(useSSL ? QZ_TEXT("https://") : QZ_TEXT("http://"));
    message.Append(endpointLocation);
    Platform::LogError(QZ_TEXT("PosixXMLTransmitter::PosixXMLTransmitter"), message);
  }
}

PosixXMLTransmitter::~PosixXMLTransmitter() {
  if (httpSession != nullptr) curl_easy_cleanup(httpSession);
}

namespace {
int64_t SteadyMillis() {
  return std::chrono::duration_cast<std::chrono::milliseconds>(
             std::chrono::steady_clock::now().time_since_epoch())
      .count();
}
}  // namespace

void PosixXMLTransmitter::AbortAfter(uint32_t milliseconds) {
  deadline.store(SteadyMillis() + static_cast<int64_t>(milliseconds));
}

bool PosixXMLTransmitter::PastDeadline() const {
  const int64_t at = deadline.load();
  return at != 0 && SteadyMillis() >= at;
}

int PosixXMLTransmitter::OnProgress(void* self, curl_off_t, curl_off_t downloaded, curl_off_t,
                                    curl_off_t uploaded) {
  PosixXMLTransmitter* t = static_cast<PosixXMLTransmitter*>(self);
  if (t->aborted.load() || t->PastDeadline()) return 1;
  auto now = std::chrono::steady_clock::now();
  // Until the request starts going out, the connect limit applies instead.
  if (uploaded == 0 || downloaded != t->lastDownloaded || uploaded != t->lastUploaded) {
    t->lastActivity = now;
    t->lastDownloaded = downloaded;
    t->lastUploaded = uploaded;
    return 0;
  }
  return now - t->lastActivity > std::chrono::milliseconds(t->endpointTimeout) ? 1 : 0;
}

size_t PosixXMLTransmitter::Discard(char*, size_t size, size_t count, void*) {
  return size * count;  // the answer's body carries nothing we use
}

size_t PosixXMLTransmitter::OnHeader(char* line, size_t size, size_t count, void* self) {
  PosixXMLTransmitter* t = static_cast<PosixXMLTransmitter*>(self);
  const size_t length = size * count;
  // Each answer starts with its status line: a proxy's answer to CONNECT
  // comes before the endpoint's, and only the endpoint's header counts.
  if (StartsWithNoCase(line, length, "http/")) {
    t->retryAfter.clear();
  } else if (StartsWithNoCase(line, length, "retry-after:")) {
    size_t end = length;
    while (end > 12 && (line[end - 1] == '\r' || line[end - 1] == '\n')) --end;
    // No exception may cross libcurl; without memory the header is not read.
    try {
      // Longer than any date or number: not a value to read.
      if (end - 12 <= 256) {
        t->retryAfter.assign(line + 12, end - 12);
      } else {
        t->retryAfter.assign("-");
      }
    } catch (const std::bad_alloc&) {
      t->retryAfter.clear();
    }
  }
  return length;
}

bool PosixXMLTransmitter::Configure(curl_slist* headers, const std::string& utf8Body) {
  const long t = endpointTimeout;
  // WinHTTP limits resolve, connect, send and receive to t each. Here: t to
  // resolve and connect, t without a byte moving once the request is going
  // out (OnProgress), and four times t overall, so that a trickle cannot run
  // on unbounded either.
  const long total = t > LONG_MAX / 4 ? LONG_MAX : 4 * t;
  CURL* h = httpSession;
  CURLcode rc = CURLE_OK;
  auto set = [&rc](CURLcode r) {
    if (rc == CURLE_OK) rc = r;
  };
  set(curl_easy_setopt(h, CURLOPT_URL, url.c_str()));
  set(curl_easy_setopt(h, CURLOPT_POST, 1L));
  set(curl_easy_setopt(h, CURLOPT_POSTFIELDS, utf8Body.data()));
  set(curl_easy_setopt(h, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(utf8Body.size())));
  set(curl_easy_setopt(h, CURLOPT_HTTPHEADER, headers));
  set(curl_easy_setopt(h, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1)));
  set(curl_easy_setopt(h, CURLOPT_NOSIGNAL, 1L));
  set(curl_easy_setopt(h, CURLOPT_CONNECTTIMEOUT_MS, t));
  set(curl_easy_setopt(h, CURLOPT_TIMEOUT_MS, total));
  set(curl_easy_setopt(h, CURLOPT_NOPROGRESS, 0L));
  set(curl_easy_setopt(h, CURLOPT_XFERINFOFUNCTION, &PosixXMLTransmitter::OnProgress));
  set(curl_easy_setopt(h, CURLOPT_XFERINFODATA, this));
  set(curl_easy_setopt(h, CURLOPT_WRITEFUNCTION, &PosixXMLTransmitter::Discard));
  // One connection per post, as with WinHTTP; nothing is kept between posts.
  set(curl_easy_setopt(h, CURLOPT_FORBID_REUSE, 1L));
  set(curl_easy_setopt(h, CURLOPT_FRESH_CONNECT, 1L));
  set(curl_easy_setopt(h, CURLOPT_HEADERFUNCTION, &PosixXMLTransmitter::OnHeader));
  set(curl_easy_setopt(h, CURLOPT_HEADERDATA, this));
  set(curl_easy_setopt(h, CURLOPT_ERRORBUFFER, errorText));
  if (useSSL) {
    if (verifyServerCertificate) {
      set(curl_easy_setopt(h, CURLOPT_SSL_VERIFYPEER, 1L));
      set(curl_easy_setopt(h, CURLOPT_SSL_VERIFYHOST, 2L));
      if (!authorities.empty()) set(curl_easy_setopt(h, CURLOPT_CAINFO, authorities.c_str()));
    } else {
      // Collectors often sit behind self-signed or mismatched certificates.
      set(curl_easy_setopt(h, CURLOPT_SSL_VERIFYPEER, 0L));
      set(curl_easy_setopt(h, CURLOPT_SSL_VERIFYHOST, 0L));
    }
    // Checked whether or not the chain is: a pin alone accepts a
    // self-signed collector with exactly that key.
    if (!pinList.empty()) set(curl_easy_setopt(h, CURLOPT_PINNEDPUBLICKEY, pinList.c_str()));
  }
  return rc == CURLE_OK;
}

bool PosixXMLTransmitter::Post(const StringBuf& platformText, const StringBuf& companyId,
                               const StringBuf& applicationId, const StringBuf& messageGroup,
                               const StringBuf& body) {
  lastStatus = 0;
  lastRetryAfter = -1;
  if (url.empty()) return false;
  if (body.StrLen() == 0) return true;
  if (aborted.load() || PastDeadline()) return false;

  if (httpSession == nullptr) {
    httpSession = curl_easy_init();
    if (httpSession == nullptr) {
      Platform::LogError(kPostSource, QZ_TEXT("curl_easy_init() failed"));
      return false;
    }
  } else {
    curl_easy_reset(httpSession);
  }

  try {
    std::string utf8 = ToUtf8(body);
    if (utf8.empty()) return false;

    HeaderList headers;
    std::string date = HttpDate();
    bool built = Append(headers.list, "Content-Type: text/xml;charset=UTF-8") &&
                 Append(headers.list, "Cache-control: no-cache, no-store") &&
                 Append(headers.list, "Pragma: no-cache") &&
                 (date.empty() || Append(headers.list, "Date: " + date)) &&
                 Append(headers.list, "X-QZ-CID: " + ToUtf8(companyId)) &&
                 Append(headers.list, "X-QZ-AID: " + ToUtf8(applicationId)) &&
                 Append(headers.list, "X-QZ-GID: " + ToUtf8(messageGroup)) &&
                 Append(headers.list, "X-QZ-API: " + ToUtf8(platformText)) &&
                 // Empty values remove curl's own headers, so ours are all there is.
                 Append(headers.list, "Accept:") && Append(headers.list, "Expect:");
    if (!built) return false;
    if (!Configure(headers.list, utf8)) {
      Platform::LogError(kPostSource, QZ_TEXT("curl_easy_setopt() failed"));
      return false;
    }

    lastActivity = std::chrono::steady_clock::now();
    lastDownloaded = 0;
    lastUploaded = 0;
    errorText[0] = 0;
    retryAfter.clear();
    CURLcode rc = curl_easy_perform(httpSession);
    if (rc != CURLE_OK) {
      if (useSSL && IsCertificateFailure(rc)) LogCertificateFailure(rc);
      // As with WinHTTP: failing before the request went out is a send
      // failure; failing while waiting for the answer is not logged.
      long sent = 0;
      curl_easy_getinfo(httpSession, CURLINFO_REQUEST_SIZE, &sent);
      if (sent == 0) Platform::LogWarn(kPostSource, QZ_TEXT("Send Request failed"));
      return false;
    }
    long status = 0;
    if (curl_easy_getinfo(httpSession, CURLINFO_RESPONSE_CODE, &status) != CURLE_OK ||
        status == 0) {
      Platform::LogWarn(kPostSource, QZ_TEXT("Query Headers failed"));
      return false;
    }
    lastStatus = static_cast<int32_t>(status);
    if (status / 100 == 2) return true;
    NoteRetryAfter(lastStatus, retryAfter.data(), retryAfter.size());
    StringBuf message(QZ_TEXT("QZ server returned "));
    message.Append(static_cast<int32_t>(status), 10);
    Platform::LogWarn(kPostSource, message);
    return false;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

void PosixXMLTransmitter::LogCertificateFailure(CURLcode rc) {
  StringBuf message(QZ_TEXT("Server certificate refused: "));
  const char* reason = errorText[0] != 0 ? errorText : curl_easy_strerror(rc);
  AppendFromUtf8(message, reason, std::strlen(reason));
  LogOnce(Once::kCertificate, Platform::LOG_ERROR, kPostSource, message);
}

}  // namespace qz
