#include "TestHttp.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

namespace qz {
namespace collector {
namespace test {

int Connect(int port, int timeoutMs) {
  const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
  if (fd < 0) return -1;
  timeval tv{timeoutMs / 1000, (timeoutMs % 1000) * 1000};
  setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof tv);
  setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &tv, sizeof tv);
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

Answer ReadAnswer(int fd) {
  Answer answer;
  std::string data;
  char buffer[4096];
  size_t headEnd = std::string::npos;
  size_t length = 0;
  for (;;) {
    if (headEnd != std::string::npos && data.size() >= headEnd + length) break;
    const ssize_t n = ::recv(fd, buffer, sizeof buffer, 0);
    if (n <= 0) break;
    data.append(buffer, static_cast<size_t>(n));
    if (headEnd == std::string::npos && (headEnd = data.find("\r\n\r\n")) != std::string::npos) {
      headEnd += 4;
      const size_t at = data.find("Content-Length: ");
      if (at != std::string::npos && at < headEnd) length = std::strtoul(data.c_str() + at + 16, nullptr, 10);
    }
  }
  if (headEnd == std::string::npos || data.compare(0, 9, "HTTP/1.1 ") != 0) return answer;
  answer.status = std::atoi(data.c_str() + 9);
  answer.body = data.substr(headEnd);
  return answer;
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
