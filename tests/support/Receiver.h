// Client side of tests/support/receiver.py, the loopback collection endpoint
// that ctest starts as the "receiver" fixture. Tests post to it with the real
// transport and then ask it, over loopback, what it received.
#ifndef QZ_TESTS_SUPPORT_RECEIVER_H
#define QZ_TESTS_SUPPORT_RECEIVER_H

#include <string>
#include <vector>

namespace qz {
namespace test {

struct RecordedRequest {
  std::string requestLine;               // "POST /path?query HTTP/1.1"
  std::vector<std::string> headerLines;  // exactly as received, in order
  std::string body;                      // raw bytes

  // Values of every header with this name (any case), in order.
  std::vector<std::string> Values(const std::string& name) const;
};

class Receiver {
 public:
  // Finds the running receiver through QZ_RECEIVER_DIR; false, with the
  // reason in *why, when there is none (the test program was run outside ctest).
  bool Connect(std::string* why);

  int HttpPort() const { return httpPort; }
  int HttpsPort() const { return httpsPort; }
  // A loopback port where connections are refused.
  int ClosedPort() const { return closedPort; }
  // HTTPS with a certificate for localhost and 127.0.0.1 that the test
  // authority of AuthorityFile() signed.
  int SignedPort() const { return signedPort; }
  // A proxy that tunnels CONNECT requests to the receiver's ports.
  int ProxyPort() const { return proxyPort; }
  // HTTPS with a certificate that the test authority signed for another host.
  int MisnamedPort() const { return misnamedPort; }
  // The test authority's certificate (PEM), as this system names the file.
  const std::string& AuthorityFile() const { return authorityFile; }
  // "127.0.0.1:port" + path, the form of an endpoint location.
  std::string Location(bool https, const std::string& path) const;

  // Every later request is answered with this status; "hold" never answers.
  bool SetStatus(int status);
  // The next `times` requests (every later one when 0) are answered with this
  // status and a Retry-After header holding retryAfter, then 204 again.
  bool SetStatus(int status, const std::string& retryAfter, int times);
  // Only requests whose body holds text get status; the others get 204.
  bool SetStatusFor(const std::string& text, int status);
  bool Hold();
  bool Release();
  // Forget what was received and answer 204 again.
  bool Reset();
  int Count();
  // index < 0 counts from the end.
  bool Request(int index, RecordedRequest& out);
  // When each recorded request arrived, in seconds of the receiver's clock.
  std::vector<double> Times();
  // SHA-256 of the public key of the HTTPS port (self-signed) and of the
  // signed port, base64.
  bool Pins(std::string& selfSigned, std::string& signedByAuthority);
  // "host:port" of every tunnel the proxy opened since the last Reset.
  std::vector<std::string> Tunnels();

 private:
  bool Control(const std::string& pathAndQuery, std::string* body = nullptr);

  int httpPort = 0;
  int httpsPort = 0;
  int closedPort = 0;
  int signedPort = 0;
  int proxyPort = 0;
  int misnamedPort = 0;
  std::string authorityFile;
};

// One GET to 127.0.0.1:port; body is the answer's body when the status is 200.
// Implemented per system.
bool LoopbackGet(int port, const std::string& pathAndQuery, std::string& body,
                 std::string& error);

}  // namespace test
}  // namespace qz

#endif  // QZ_TESTS_SUPPORT_RECEIVER_H
