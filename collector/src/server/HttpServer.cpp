#include "server/HttpServer.h"

#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include "server/WorkerPool.h"

namespace qz {
namespace collector {

namespace {

thread_local RequestContext* current = nullptr;

// Requests served on one connection before it is closed.
constexpr int kKeepAliveRequests = 1000;
// A burst of connections waits in the kernel rather than being dropped.
constexpr int kListenBacklog = 1024;
// How long an unread body is drained after an early answer.
constexpr int kLingerMs = 2000;
// Headers and framing a request may add to its body.
constexpr size_t kHeadAllowance = 64 << 10;

// A complete answer that closes the connection.
std::string Answer(const char* statusLine, const std::string& text) {
  return std::string("HTTP/1.1 ") + statusLine + "\r\nConnection: close\r\nContent-Type: text/plain\r\n" +
         "Content-Length: " + std::to_string(text.size()) + "\r\n\r\n" + text;
}

const std::string kTimeoutAnswer = Answer("408 Request Timeout", "request not received in time\n");
const std::string kBusyAnswer = Answer("503 Service Unavailable", "collector busy, try again later\n");

}  // namespace

HttpServer::HttpServer(const ServerLimits& limits, SSL_CTX* tls) : limits(limits), tls(tls) {
  new_task_queue = [this] { return new WorkerPool(this->limits.workers, this->limits.maxQueued); };
  set_keep_alive_timeout(limits.keepAliveMs / 1000 > 0 ? limits.keepAliveMs / 1000 : 1);
  set_payload_max_length(limits.maxBody);
}

RequestContext* HttpServer::Current() { return current; }

int HttpServer::Bind(const std::string& host, int port) {
  const int bound = port == 0 ? bind_to_any_port(host) : (bind_to_port(host, port) ? port : -1);
  if (bound < 0) return -1;
  ::listen(svr_sock_, kListenBacklog);
  return bound;
}

void HttpServer::Serve() {
  if (!stopping) listen_after_bind();
  served = true;
}

void HttpServer::Stop() {
  stopping = true;
  // A stop right after the start must not miss a server that is only now
  // beginning to listen: httplib's stop() acts only on a running one.
  for (int waited = 0; waited < 10000 && !is_running() && !served; ++waited) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  stop();
}

void HttpServer::Refuse(socket_t sock) {
  // On the accept thread: nothing that can block. Over TLS there is no way to
  // answer before a handshake, so the connection just closes.
  if (tls == nullptr) ::send(sock, kBusyAnswer.data(), kBusyAnswer.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
  ::shutdown(sock, SHUT_RDWR);
  ::close(sock);
}

bool HttpServer::process_and_close_socket(socket_t sock) {
  if (WorkerPool::Refusing()) {
    Refuse(sock);
    return true;
  }
  ConnectionStream stream(sock, tls, limits.readTimeoutMs, limits.writeTimeoutMs, &stopping);
  const size_t budget = limits.maxBody + kHeadAllowance;
  const auto deadline = [&] {
    return ConnectionStream::Clock::now() + std::chrono::milliseconds(limits.requestTimeoutMs);
  };
  stream.StartRequest(deadline(), budget);
  if (!stream.Handshake()) return false;
  for (int served = 0; served < kKeepAliveRequests && !stopping; ++served) {
    if (served > 0) {
      if (!stream.WaitForRequest(limits.keepAliveMs)) break;
      stream.StartRequest(deadline(), budget);
    }
    RequestContext context;
    context.stream = &stream;
    current = &context;
    bool closed = false;
    const bool answered = process_request(stream, served + 1 == kKeepAliveRequests, closed, nullptr);
    current = nullptr;
    if (!answered) {
      // A request cut short by its deadline gets a 408; a connection that
      // sent nothing at all is just closed.
      if (stream.TimedOut() && stream.RequestBytes() > 0 && !stream.Answered()) {
        stream.WriteAll(kTimeoutAnswer);
      }
      break;
    }
    if (context.linger) stream.Linger(kLingerMs);
    if (closed || context.close || context.linger) break;
  }
  return true;
}

}  // namespace collector
}  // namespace qz
