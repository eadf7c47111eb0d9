// The transport: one synchronous POST of one XML batch to the collection endpoint.
#ifndef QZ_DELIVERY_XMLTRANSMITTER_H
#define QZ_DELIVERY_XMLTRANSMITTER_H

#include <cstddef>
#include <cstdint>

#include "delivery/ServerPins.h"
#include "qz/StringBuf.h"

namespace qz {

class Configuration;

class XMLTransmitter {
 public:
  // Copies what it needs; the configuration may go away afterwards.
  explicit XMLTransmitter(const Configuration& configuration);
  virtual ~XMLTransmitter();
  XMLTransmitter(const XMLTransmitter&) = delete;
  XMLTransmitter& operator=(const XMLTransmitter&) = delete;

  // True when the endpoint answered 2xx, or when body is empty (nothing is
  // sent then). Blocks for the whole exchange, bounded by endpointTimeout per
  // phase. One object is used by one thread only.
  virtual bool Post(const StringBuf& platformText, const StringBuf& companyId,
                    const StringBuf& applicationId, const StringBuf& messageGroup,
                    const StringBuf& body) = 0;

  // For an owner that is shutting down: cuts short a post in flight where the
  // platform can, and makes every later Post fail without sending. Safe to
  // call from any thread. The default does nothing; the per-phase timeouts
  // still bound the post.
  virtual void Abort() {}
  // For an owner that must be done within a bound: posts still running that
  // many milliseconds from now are cut short, and later ones fail at once.
  // The default does nothing (the platform can end the thread by force).
  virtual void AbortAfter(uint32_t /*milliseconds*/) {}

  // The HTTP status of the answer to the last Post; 0 when it got none
  // (nothing sent, a network failure or a timeout). Lets an owner tell a
  // refused batch from an endpoint that could not be reached.
  int32_t GetLastStatus() const { return lastStatus; }
  // The pause in milliseconds that the last answer asked for: a 503 or 429
  // with a Retry-After header the library could read. -1 when it asked for none.
  int64_t GetLastRetryAfter() const { return lastRetryAfter; }
  // Before work that may end without a post, so that an earlier answer is not
  // taken for one to it.
  void ForgetLastAnswer() {
    lastStatus = 0;
    lastRetryAfter = -1;
  }

  // A new run begins: each kind of once-per-run diagnostic may be logged again.
  static void BeginRun();

  const StringBuf& GetEndpointLocation() const { return endpointLocation; }
  bool IsUseSSL() const { return useSSL; }
  int32_t GetEndpointTimeout() const { return endpointTimeout; }

 protected:
  // A failure that would repeat on every post (a refused certificate, proxy
  // settings that cannot be used) is logged the first time in a run only.
  enum class Once { kCertificate, kProxy, kPlainText, kCount };
  static void LogOnce(Once kind, int32_t level, const QZChar* source, const StringBuf& message);
  // Keeps what the answer's Retry-After asks for when the status is 503 or 429.
  void NoteRetryAfter(int32_t status, const char* retryAfter, size_t length);

  StringBuf endpointLocation;
  bool useSSL;
  int32_t endpointTimeout;
  bool verifyServerCertificate;
  ServerPins serverPins;
  bool useSystemProxy;
  int32_t lastStatus = 0;
  int64_t lastRetryAfter = -1;
};

}  // namespace qz

#endif  // QZ_DELIVERY_XMLTRANSMITTER_H
