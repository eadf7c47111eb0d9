// A plain socket client for tests that must control every byte a request
// sends: exchanges with a generous time bound, status and body of the answer.
#ifndef QZ_COLLECTOR_TESTS_TESTHTTP_H
#define QZ_COLLECTOR_TESTS_TESTHTTP_H

#include <openssl/ssl.h>

#include <string>

namespace qz {
namespace collector {
namespace test {

struct Answer {
  int status = 0;  // 0: none (closed or timed out before an answer)
  std::string head;
  std::string body;
};

// A loopback connection whose reads and writes give up after timeoutMs; -1 on failure.
int Connect(int port, int timeoutMs = 10000);
// Sends all; false when the connection fails.
bool SendAll(int fd, const std::string& data);
// Reads one answer (head and, by Content-Length, body).
Answer ReadAnswer(int fd);
// Connect, send, read one answer, close.
Answer Exchange(int port, const std::string& request, int timeoutMs = 10000);

// A TLS connection that trusts any certificate, as the library does with a
// self-signed one when told to.
class TlsClient {
 public:
  TlsClient() = default;
  ~TlsClient();
  TlsClient(const TlsClient&) = delete;
  TlsClient& operator=(const TlsClient&) = delete;

  // Connects and completes the handshake, resuming the session when one is
  // given; false on failure.
  bool Connect(int port, int timeoutMs = 10000, SSL_SESSION* resume = nullptr);
  // The session to resume next time (the caller frees it), once an answer was
  // read (a TLS 1.3 server sends its ticket after the handshake); and whether
  // this connection resumed one.
  SSL_SESSION* Session() const { return SSL_get1_session(ssl); }
  bool Resumed() const { return SSL_session_reused(ssl) == 1; }
  // Says goodbye as a TLS client should; a session whose connection was
  // dropped without it cannot be resumed.
  void Close() { SSL_shutdown(ssl); }
  bool SendAll(const std::string& data);
  Answer ReadAnswer();
  int Fd() const { return fd; }

 private:
  int fd = -1;
  SSL* ssl = nullptr;
};

// The same over TLS.
Answer TlsExchange(int port, const std::string& request, int timeoutMs = 10000);
// The value of a header in an answer's head, or empty.
std::string HeaderOf(const std::string& head, const std::string& name);

}  // namespace test
}  // namespace collector
}  // namespace qz

#endif  // QZ_COLLECTOR_TESTS_TESTHTTP_H
