#include "server/ConnectionStream.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace qz {
namespace collector {

namespace {

// Idle waits look at the stop flag this often.
constexpr int kStopCheckMs = 100;

// The address of one end of the socket: getpeername or getsockname.
void Address(int fd, int (*name)(int, sockaddr*, socklen_t*), std::string& ip, int& port) {
  sockaddr_storage a{};
  socklen_t length = sizeof a;
  ip.clear();
  port = 0;
  if (name(fd, reinterpret_cast<sockaddr*>(&a), &length) != 0) return;
  char text[INET6_ADDRSTRLEN] = "";
  if (a.ss_family == AF_INET) {
    const auto& v4 = reinterpret_cast<const sockaddr_in&>(a);
    inet_ntop(AF_INET, &v4.sin_addr, text, sizeof text);
    port = ntohs(v4.sin_port);
  } else if (a.ss_family == AF_INET6) {
    const auto& v6 = reinterpret_cast<const sockaddr_in6&>(a);
    inet_ntop(AF_INET6, &v6.sin6_addr, text, sizeof text);
    port = ntohs(v6.sin6_port);
  }
  ip = text;
}

}  // namespace

ConnectionStream::ConnectionStream(int fd, SSL_CTX* tls, int readTimeoutMs, int writeTimeoutMs,
                                   const std::atomic<bool>* stopping)
    : fd(fd), readTimeoutMs(readTimeoutMs), writeTimeoutMs(writeTimeoutMs), stopping(stopping) {
  fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK);
  if (tls != nullptr) {
    ssl = SSL_new(tls);
    if (ssl != nullptr) SSL_set_fd(ssl, fd);
  }
  deadline = Clock::now();
}

ConnectionStream::~ConnectionStream() {
  if (ssl != nullptr) {
    // A courtesy; no waiting for the client's reply.
    if (SSL_is_init_finished(ssl)) SSL_shutdown(ssl);
    SSL_free(ssl);
  }
  ::shutdown(fd, SHUT_RDWR);
  ::close(fd);
}

void ConnectionStream::StartRequest(Clock::time_point until, size_t budget) {
  deadline = until;
  maxBytes = budget;
  requestBytes = 0;
  timedOut = false;
  wroteAny = false;
}

int ConnectionStream::RemainingMs(Clock::time_point until) const {
  const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(until - Clock::now()).count();
  return left <= 0 ? 0 : static_cast<int>(std::min<long long>(left, 1 << 30));
}

bool ConnectionStream::Wait(short events, int timeoutMs) {
  pollfd p{fd, events, 0};
  for (;;) {
    const int r = ::poll(&p, 1, timeoutMs);
    if (r > 0) return true;
    if (r == 0) return false;
    if (errno != EINTR) return false;
  }
}

bool ConnectionStream::Handshake() {
  if (ssl == nullptr) return true;
  for (;;) {
    ERR_clear_error();
    const int r = SSL_accept(ssl);
    if (r == 1) return true;
    const int error = SSL_get_error(ssl, r);
    const int left = RemainingMs(deadline);
    if (left == 0) {
      timedOut = true;
      return false;
    }
    if (error == SSL_ERROR_WANT_READ) {
      if (!Wait(POLLIN, std::min(left, readTimeoutMs))) return false;
    } else if (error == SSL_ERROR_WANT_WRITE) {
      if (!Wait(POLLOUT, std::min(left, writeTimeoutMs))) return false;
    } else {
      return false;
    }
  }
}

bool ConnectionStream::WaitForRequest(int ms) {
  if (begin < end || (ssl != nullptr && SSL_pending(ssl) > 0)) return true;
  const auto until = Clock::now() + std::chrono::milliseconds(ms);
  for (;;) {
    if (stopping != nullptr && stopping->load()) return false;
    const int left = RemainingMs(until);
    if (left == 0) return false;
    if (Wait(POLLIN, std::min(left, kStopCheckMs))) return true;
  }
}

ssize_t ConnectionStream::Fill(Clock::time_point until, bool ignoreBudget) {
  begin = end = 0;
  for (;;) {
    ssize_t n;
    int error = 0;
    if (ssl != nullptr) {
      ERR_clear_error();
      const int r = SSL_read(ssl, buffer, sizeof buffer);
      n = r;
      if (r <= 0) {
        error = SSL_get_error(ssl, r);
        if (error == SSL_ERROR_ZERO_RETURN) return 0;
        if (error != SSL_ERROR_WANT_READ && error != SSL_ERROR_WANT_WRITE) return -1;
      }
    } else {
      n = ::recv(fd, buffer, sizeof buffer, 0);
      if (n == 0) return 0;
      if (n < 0) {
        if (errno == EINTR) continue;
        if (errno != EAGAIN && errno != EWOULDBLOCK) return -1;
        error = SSL_ERROR_WANT_READ;
      }
    }
    if (n > 0) {
      if (!ignoreBudget && requestBytes + static_cast<size_t>(n) > maxBytes) return -1;
      requestBytes += static_cast<size_t>(n);
      end = static_cast<size_t>(n);
      return n;
    }
    const int left = RemainingMs(until);
    if (left == 0) {
      timedOut = true;
      return -1;
    }
    // A client that sends nothing for the read time-out has timed out too.
    if (!Wait(error == SSL_ERROR_WANT_WRITE ? POLLOUT : POLLIN, std::min(left, readTimeoutMs))) {
      timedOut = true;
      return -1;
    }
  }
}

bool ConnectionStream::is_readable() const { return true; }  // read() does the waiting

bool ConnectionStream::is_writable() const { return true; }  // write() does the waiting

ssize_t ConnectionStream::read(char* ptr, size_t size) {
  if (begin == end) {
    const ssize_t n = Fill(deadline, false);
    if (n <= 0) return n;
  }
  const size_t n = std::min(size, end - begin);
  std::memcpy(ptr, buffer + begin, n);
  begin += n;
  return static_cast<ssize_t>(n);
}

ssize_t ConnectionStream::write(const char* ptr, size_t size) {
  if (size == 0) return 0;
  wroteAny = true;
  for (;;) {
    short waitFor = POLLOUT;
    if (ssl != nullptr) {
      ERR_clear_error();
      const int r = SSL_write(ssl, ptr, static_cast<int>(std::min<size_t>(size, 1 << 30)));
      if (r > 0) return r;
      const int error = SSL_get_error(ssl, r);
      if (error == SSL_ERROR_WANT_READ) {
        waitFor = POLLIN;
      } else if (error != SSL_ERROR_WANT_WRITE) {
        return -1;
      }
    } else {
      const ssize_t n = ::send(fd, ptr, size, MSG_NOSIGNAL);
      if (n >= 0) return n;
      if (errno == EINTR) continue;
      if (errno != EAGAIN && errno != EWOULDBLOCK) return -1;
    }
    if (!Wait(waitFor, writeTimeoutMs)) return -1;
  }
}

bool ConnectionStream::WriteAll(const std::string& text) {
  size_t done = 0;
  while (done < text.size()) {
    const ssize_t n = write(text.data() + done, text.size() - done);
    if (n <= 0) return false;
    done += static_cast<size_t>(n);
  }
  return true;
}

void ConnectionStream::Linger(int ms) {
  if (ssl == nullptr) ::shutdown(fd, SHUT_WR);
  const auto until = Clock::now() + std::chrono::milliseconds(ms);
  while (Fill(until, true) > 0) {
  }
}

void ConnectionStream::get_remote_ip_and_port(std::string& ip, int& port) const {
  Address(fd, ::getpeername, ip, port);
}

void ConnectionStream::get_local_ip_and_port(std::string& ip, int& port) const {
  Address(fd, ::getsockname, ip, port);
}

}  // namespace collector
}  // namespace qz
