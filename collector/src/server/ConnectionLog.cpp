#include "server/ConnectionLog.h"

#include "common/Log.h"

namespace qz {
namespace collector {

namespace {

constexpr std::chrono::seconds kInterval(1);

const char* const kWhat[] = {
    "connections refused (connection limit reached or stopping)",
    "connections closed: TLS handshake not finished in time",
    "connections closed: TLS handshake failed",
    "connections closed: no request in time",
    "requests not received whole in time (408)",
    "requests refused: memory budget spent (503)",
    "requests refused: collector saturated (503)",
    "requests refused (4xx)",
};

}  // namespace

void ConnectionLog::Write(Kind kind, const Counter& c) {
  Log::Warn("Server", std::to_string(c.pending) + " " + kWhat[kind] + "; latest " + c.latest + " (" +
                          std::to_string(c.total) + " since the start)");
}

void ConnectionLog::Count(Kind kind, const std::string& remote, const std::string& detail) {
  std::lock_guard<std::mutex> hold(lock);
  Counter& c = counters[kind];
  ++c.total;
  ++c.pending;
  c.latest = "from " + remote + (detail.empty() ? "" : ": " + detail);
  const auto now = std::chrono::steady_clock::now();
  if (now - c.lastLine >= kInterval) {
    Write(kind, c);
    c.pending = 0;
    c.lastLine = now;
  }
}

void ConnectionLog::Flush() {
  std::lock_guard<std::mutex> hold(lock);
  const auto now = std::chrono::steady_clock::now();
  for (int k = 0; k < kKinds; ++k) {
    Counter& c = counters[k];
    if (c.pending == 0 || now - c.lastLine < kInterval) continue;
    Write(static_cast<Kind>(k), c);
    c.pending = 0;
    c.lastLine = now;
  }
}

uint64_t ConnectionLog::Total(Kind kind) const {
  std::lock_guard<std::mutex> hold(lock);
  return counters[kind].total;
}

}  // namespace collector
}  // namespace qz
