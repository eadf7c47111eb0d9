#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "support/LoopbackGet.h"
#include "support/Receiver.h"

namespace qz {
namespace test {

bool LoopbackGet(int port, const std::string& pathAndQuery, std::string& body,
                 std::string& error) {
  int fd = socket(AF_INET, SOCK_STREAM, 0);
  if (fd < 0) {
    error = std::string("socket: ") + std::strerror(errno);
    return false;
  }
  timeval limit{10, 0};  // the receiver answers control requests at once
  setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof(limit));
  setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof(limit));
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  std::string raw;
  bool ok = connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0;
  if (ok) {
    std::string request = LoopbackRequest(pathAndQuery);
    ok = send(fd, request.data(), request.size(), MSG_NOSIGNAL) ==
         static_cast<ssize_t>(request.size());
  }
  char buffer[8192];
  ssize_t got = 0;
  while (ok && (got = recv(fd, buffer, sizeof(buffer), 0)) > 0) raw.append(buffer, got);
  if (!ok || got < 0) {
    error = std::string("loopback GET: ") + std::strerror(errno);
    close(fd);
    return false;
  }
  close(fd);
  return LoopbackAnswer(raw, body, error);
}

}  // namespace test
}  // namespace qz
