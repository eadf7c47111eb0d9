// A plain socket client for tests that must control every byte a request
// sends: exchanges with a generous time bound, status and body of the answer.
#ifndef QZ_COLLECTOR_TESTS_TESTHTTP_H
#define QZ_COLLECTOR_TESTS_TESTHTTP_H

#include <string>

namespace qz {
namespace collector {
namespace test {

struct Answer {
  int status = 0;  // 0: none (closed or timed out before an answer)
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

}  // namespace test
}  // namespace collector
}  // namespace qz

#endif  // QZ_COLLECTOR_TESTS_TESTHTTP_H
