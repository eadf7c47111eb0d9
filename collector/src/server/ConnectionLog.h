// Counts what the server refused or cut off, by kind, and logs it at most
// once a second per kind with the latest client's address: a flood of bad
// connections is seen in the log without filling it.
#ifndef QZ_COLLECTOR_CONNECTIONLOG_H
#define QZ_COLLECTOR_CONNECTIONLOG_H

#include <chrono>
#include <cstdint>
#include <mutex>
#include <string>

namespace qz {
namespace collector {

class ConnectionLog {
 public:
  enum Kind {
    Refused,           // over the connection limit, or stopping
    HandshakeTimeout,  // no TLS handshake in time
    HandshakeFailed,   // not TLS, or no common ground
    IdleTimeout,       // no request (head) in time
    RequestTimeout,    // a request that did not arrive whole in time (408)
    OverMemory,        // over the memory budget (503)
    Saturated,         // workers or writer full (503)
    BadRequest,        // refused with 4xx
    kKinds,
  };

  // Counts one and writes a line when none was written for the kind in the last second.
  void Count(Kind kind, const std::string& remote, const std::string& detail = std::string());
  // Writes what was counted but not yet written (once a second, and at the end).
  void Flush();
  uint64_t Total(Kind kind) const;

 private:
  struct Counter {
    uint64_t total = 0;
    uint64_t pending = 0;  // counted since the last line
    std::chrono::steady_clock::time_point lastLine{};
    std::string latest;  // remote of the last one, and its detail
  };
  static void Write(Kind kind, const Counter& counter);

  mutable std::mutex lock;
  Counter counters[kKinds];
};

}  // namespace collector
}  // namespace qz

#endif  // QZ_COLLECTOR_CONNECTIONLOG_H
