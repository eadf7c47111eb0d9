// One listening port of the collector (HTTP, or HTTPS with a TLS context).
// cpp-httplib parses requests and routes them; this class owns what happens
// to a connection: the worker pool it waits in, the deadlines and budgets of
// ConnectionStream, the 408 for a request that did not arrive in time, and
// the lingering close after an answer to a request whose body was not read.
#ifndef QZ_COLLECTOR_HTTPSERVER_H
#define QZ_COLLECTOR_HTTPSERVER_H

#include <httplib.h>
#include <openssl/ssl.h>

#include <atomic>
#include <string>

#include "server/ConnectionStream.h"

namespace qz {
namespace collector {

struct ServerLimits {
  size_t maxBody = 8u << 20;        // bytes of one batch
  int requestTimeoutMs = 10000;     // a whole request, headers and body
  int readTimeoutMs = 5000;         // any one wait for more of it
  int writeTimeoutMs = 5000;        // any one wait to send
  int keepAliveMs = 5000;           // for the next request on a connection
  size_t workers = 8;               // threads per port
  size_t maxQueued = 256;           // accepted connections waiting for one
};

// What a handler may say about the connection of its request.
struct RequestContext {
  ConnectionStream* stream = nullptr;
  bool close = false;   // close after the answer
  bool linger = false;  // ... and first drain the unread body
};

class HttpServer : public httplib::Server {
 public:
  // tls null: plain HTTP. The context must outlive the server.
  HttpServer(const ServerLimits& limits, SSL_CTX* tls);

  // Binds to host and port (0: any free port); the port, or -1.
  int Bind(const std::string& host, int port);
  // Serves until Stop; runs on a thread of its own.
  void Serve();
  void Stop();

  // The request this thread is answering, or null.
  static RequestContext* Current();

 private:
  bool process_and_close_socket(socket_t sock) override;
  void Refuse(socket_t sock);

  const ServerLimits limits;
  SSL_CTX* const tls;
  std::atomic<bool> stopping{false};
  std::atomic<bool> served{false};  // Serve has returned
};

}  // namespace collector
}  // namespace qz

#endif  // QZ_COLLECTOR_HTTPSERVER_H
