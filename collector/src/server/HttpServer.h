// The network side of the collector: listening ports (plain HTTP, or HTTPS
// with a TLS context) and their connections, all driven by events on a few
// threads (Boost.Asio and Beast), so that a connection costs memory, not a
// thread. Each connection has a deadline for its TLS handshake, for each
// request's head and whole request, for any silence within a body and for
// sending the answer; bodies grow as their bytes arrive, within a per-request
// limit and the memory budget. The HTTP rules that keep a request
// unambiguous (one Content-Length, no chunked bodies, no repeated batch
// headers) are enforced here; what a request means is the handler's job.
// Beast stays inside HttpServer.cpp, the one file that compiles it.
#ifndef QZ_COLLECTOR_HTTPSERVER_H
#define QZ_COLLECTOR_HTTPSERVER_H

#include <openssl/ssl.h>

#include <memory>
#include <string>

#include "server/ConnectionLog.h"
#include "server/HttpTypes.h"
#include "server/ServerLimits.h"

namespace qz {
namespace collector {

class HttpServer {
 public:
  HttpServer(const ServerLimits& limits, HttpHandler& handler, ConnectionLog& log);
  ~HttpServer();
  HttpServer(const HttpServer&) = delete;
  HttpServer& operator=(const HttpServer&) = delete;

  // Binds and listens on address:port (0: any free port) before Start; tls
  // null for plain HTTP (the context must outlive the server). The port, or
  // -1 with the reason: a port in use is never shared with another process.
  int Listen(const std::string& address, int port, SSL_CTX* tls, std::string& error);
  void Start();
  // Stops accepting, closes connections that wait for a request, lets the
  // requests in progress be answered (within their deadlines), then ends the
  // threads. Answers that come later are dropped.
  void Stop();
  size_t Connections() const;

  struct Impl;  // defined and used in HttpServer.cpp only

 private:
  std::unique_ptr<Impl> impl;
};

}  // namespace collector
}  // namespace qz

#endif  // QZ_COLLECTOR_HTTPSERVER_H
