// XMLTransmitter over libcurl: the same request as on Windows, one POST per batch.
#ifndef QZ_DELIVERY_POSIXXMLTRANSMITTER_H
#define QZ_DELIVERY_POSIXXMLTRANSMITTER_H

#include <curl/curl.h>

#include <atomic>
#include <chrono>
#include <string>

#include "delivery/XMLTransmitter.h"

namespace qz {

class PosixXMLTransmitter : public XMLTransmitter {
 public:
  // REQUIRES: curl_global_init has run (the platform's load step does it).
  explicit PosixXMLTransmitter(const Configuration& configuration);
  ~PosixXMLTransmitter() override;

  bool Post(const StringBuf& platformText, const StringBuf& companyId,
            const StringBuf& applicationId, const StringBuf& messageGroup,
            const StringBuf& body) override;

  // A post in flight ends within about a second (curl's progress callback
  // notices the flag); later posts fail at once.
  void Abort() override { aborted.store(true); }
  void AbortAfter(uint32_t milliseconds) override;

  // "http://" or "https://" plus the endpoint; empty when it could not be parsed.
  const std::string& GetUrl() const { return url; }

 private:
  static int OnProgress(void* self, curl_off_t, curl_off_t downloaded, curl_off_t,
                        curl_off_t uploaded);
  static size_t Discard(char*, size_t size, size_t count, void*);
  static size_t OnHeader(char* line, size_t size, size_t count, void* self);
  bool Configure(curl_slist* headers, const std::string& utf8Body);
  void LogCertificateFailure(CURLcode rc);

  CURL* httpSession;  // opened by the first post that sends, then reused
  std::string url;
  std::string pinList;      // libcurl's form of the pins; empty: none
  std::string authorities;  // a test's authorities instead of the system's; empty: none
  char errorText[CURL_ERROR_SIZE];
  std::string retryAfter;   // the Retry-After value of the answer being read
  std::atomic<bool> aborted;
  // Steady-clock milliseconds after which posts are cut short; 0: none.
  std::atomic<int64_t> deadline;
  bool PastDeadline() const;
  // Progress of the post in flight, for the idle limit.
  std::chrono::steady_clock::time_point lastActivity;
  curl_off_t lastDownloaded = 0;
  curl_off_t lastUploaded = 0;
};

}  // namespace qz

#endif  // QZ_DELIVERY_POSIXXMLTRANSMITTER_H
