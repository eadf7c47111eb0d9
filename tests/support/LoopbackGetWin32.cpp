#include <winsock2.h>
#include <ws2tcpip.h>

#include "support/LoopbackGet.h"
#include "support/Receiver.h"

namespace qz {
namespace test {

bool LoopbackGet(int port, const std::string& pathAndQuery, std::string& body,
                 std::string& error) {
  static const bool started = [] {
    WSADATA data;
    return WSAStartup(MAKEWORD(2, 2), &data) == 0;
  }();
  if (!started) {
    error = "WSAStartup failed";
    return false;
  }
  SOCKET s = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
  if (s == INVALID_SOCKET) {
    error = "socket: " + std::to_string(WSAGetLastError());
    return false;
  }
  DWORD limit = 10000;  // the receiver answers control requests at once
  setsockopt(s, SOL_SOCKET, SO_RCVTIMEO, reinterpret_cast<const char*>(&limit), sizeof(limit));
  setsockopt(s, SOL_SOCKET, SO_SNDTIMEO, reinterpret_cast<const char*>(&limit), sizeof(limit));
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<u_short>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  std::string raw;
  bool ok = connect(s, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0;
  if (ok) {
    std::string request = LoopbackRequest(pathAndQuery);
    ok = send(s, request.data(), static_cast<int>(request.size()), 0) ==
         static_cast<int>(request.size());
  }
  char buffer[8192];
  int got = 0;
  while (ok && (got = recv(s, buffer, sizeof(buffer), 0)) > 0) raw.append(buffer, got);
  if (!ok || got < 0) {
    error = "loopback GET: " + std::to_string(WSAGetLastError());
    closesocket(s);
    return false;
  }
  closesocket(s);
  return LoopbackAnswer(raw, body, error);
}

}  // namespace test
}  // namespace qz
