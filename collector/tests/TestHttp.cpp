#include "TestHttp.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <strings.h>

#include <cstdlib>
#include <cstring>
#include <functional>

namespace qz {
namespace collector {
namespace test {

int Connect(int port, int timeoutMs) {
  const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
  if (fd < 0) return -1;
  timeval tv{timeoutMs / 1000, (timeoutMs % 1000) * 1000};
  setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof tv);
  setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &tv, sizeof tv);
  // As libcurl does: a request written in pieces must not wait for the peer's delayed ACK.
  const int one = 1;
  setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
  sockaddr_in a{};
  a.sin_family = AF_INET;
  a.sin_port = htons(static_cast<uint16_t>(port));
  a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (::connect(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0) {
    ::close(fd);
    return -1;
  }
  return fd;
}

bool SendAll(int fd, const std::string& data) {
  size_t done = 0;
  while (done < data.size()) {
    const ssize_t n = ::send(fd, data.data() + done, data.size() - done, MSG_NOSIGNAL);
    if (n <= 0) return false;
    done += static_cast<size_t>(n);
  }
  return true;
}

namespace {

Answer ReadWith(const std::function<long(char*, size_t)>& read) {
  Answer answer;
  std::string data;
  char buffer[4096];
  size_t headEnd = std::string::npos;
  size_t length = 0;
  for (;;) {
    if (headEnd != std::string::npos && data.size() >= headEnd + length) break;
    const long n = read(buffer, sizeof buffer);
    if (n <= 0) break;
    data.append(buffer, static_cast<size_t>(n));
    if (headEnd == std::string::npos && (headEnd = data.find("\r\n\r\n")) != std::string::npos) {
      headEnd += 4;
      length = std::strtoul(HeaderOf(data.substr(0, headEnd), "Content-Length").c_str(), nullptr, 10);
    }
  }
  if (headEnd == std::string::npos || data.compare(0, 9, "HTTP/1.1 ") != 0) return answer;
  answer.status = std::atoi(data.c_str() + 9);
  answer.head = data.substr(0, headEnd);
  answer.body = data.substr(headEnd);
  return answer;
}

SSL_CTX* ClientContext() {
  static SSL_CTX* context = [] {
    SSL_CTX* c = SSL_CTX_new(TLS_client_method());
    SSL_CTX_set_verify(c, SSL_VERIFY_NONE, nullptr);
    return c;
  }();
  return context;
}

}  // namespace

std::string HeaderOf(const std::string& head, const std::string& name) {
  for (size_t at = head.find("\r\n"); at != std::string::npos; at = head.find("\r\n", at + 2)) {
    if (strncasecmp(head.c_str() + at + 2, (name + ":").c_str(), name.size() + 1) == 0) {
      size_t from = at + 2 + name.size() + 1;
      while (from < head.size() && head[from] == ' ') ++from;
      return head.substr(from, head.find("\r\n", from) - from);
    }
  }
  return "";
}

Answer ReadAnswer(int fd) {
  return ReadWith([fd](char* buffer, size_t size) { return static_cast<long>(::recv(fd, buffer, size, 0)); });
}

TlsClient::~TlsClient() {
  if (ssl != nullptr) SSL_free(ssl);
  if (fd >= 0) ::close(fd);
}

bool TlsClient::Connect(int port, int timeoutMs, SSL_SESSION* resume) {
  fd = test::Connect(port, timeoutMs);
  if (fd < 0) return false;
  ssl = SSL_new(ClientContext());
  SSL_set_fd(ssl, fd);
  if (resume != nullptr) SSL_set_session(ssl, resume);
  return SSL_connect(ssl) == 1;
}

bool TlsClient::SendAll(const std::string& data) {
  size_t done = 0;
  while (done < data.size()) {
    const int n = SSL_write(ssl, data.data() + done, static_cast<int>(data.size() - done));
    if (n <= 0) return false;
    done += static_cast<size_t>(n);
  }
  return true;
}

Answer TlsClient::ReadAnswer() {
  return ReadWith([this](char* buffer, size_t size) { return static_cast<long>(SSL_read(ssl, buffer, static_cast<int>(size))); });
}

Answer TlsExchange(int port, const std::string& request, int timeoutMs) {
  TlsClient client;
  if (!client.Connect(port, timeoutMs)) return Answer();
  client.SendAll(request);
  return client.ReadAnswer();
}

Answer Exchange(int port, const std::string& request, int timeoutMs) {
  const int fd = Connect(port, timeoutMs);
  if (fd < 0) return Answer();
  // A refused request may be answered before it is all sent: read regardless.
  SendAll(fd, request);
  Answer answer = ReadAnswer(fd);
  ::close(fd);
  return answer;
}

}  // namespace test
}  // namespace collector
}  // namespace qz
