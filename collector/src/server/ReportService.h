// The report over HTTP: "/" (the page), "/report.txt" and "/report.json",
// each taking the filters from the query string. It runs on a small pool of
// its own, at a lower priority than ingestion, and keeps what it rendered
// for a few seconds, so that many reloads cost one query: a report in the
// cache is answered at once, and requests for a report being made wait for
// that one rendering rather than queueing their own. With a token,
// every request must carry it: an "Authorization: Bearer" header, or the
// cookie that a link with "?token=" sets (that link is answered with a
// redirect to the same page without the token in its address).
#ifndef QZ_COLLECTOR_REPORTSERVICE_H
#define QZ_COLLECTOR_REPORTSERVICE_H

#include <atomic>
#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "report/ReportFilter.h"
#include "server/HttpTypes.h"
#include "server/WorkerPool.h"
#include "stores/Store.h"

namespace qz {
namespace collector {

struct ReportOptions {
  std::string token;  // empty: none asked for
  size_t workers = 2;
  size_t maxQueued = 64;
  std::chrono::milliseconds cacheFor = std::chrono::seconds(5);
};

class ReportService : public HttpHandler {
 public:
  static constexpr char kCookie[] = "qz_report_token";

  ReportService(Store& store, const ReportOptions& options);
  ~ReportService() override;
  ReportService(const ReportService&) = delete;
  ReportService& operator=(const ReportService&) = delete;

  static bool Serves(const std::string& path);
  std::optional<HttpAnswer> CheckHead(const HttpRequest& head) override;
  void Handle(HttpRequest request, Respond respond) override;
  // From now on, requests and queued renderings are answered 503 at once:
  // a stop waits for no report. Call before stopping the listener.
  void Close();
  // Closes, then ends the pool's threads (a rendering under way finishes).
  void Stop();
  // Reports rendered (not taken from the cache), for tests.
  int64_t Rendered() const;

 private:
  struct Cached {
    std::chrono::steady_clock::time_point until;
    HttpAnswer answer;
  };
  struct Waiter {
    Respond respond;
    bool head;  // a HEAD request: no body
  };
  HttpAnswer Render(const std::string& path, ReportFilter filter, const std::string& today);
  // Answers everyone waiting for key, and forgets it.
  void Finish(const std::string& key, const HttpAnswer& answer);
  static void Send(const Waiter& w, HttpAnswer a);
  bool Authorized(const HttpRequest& head) const;

  Store& store;
  const ReportOptions options;
  WorkerPool pool;
  mutable std::mutex lock;
  std::map<std::string, Cached> cache;
  std::map<std::string, std::vector<Waiter>> flights;  // renderings queued or under way
  std::atomic<bool> closing{false};
  int64_t rendered = 0;
};

}  // namespace collector
}  // namespace qz

#endif  // QZ_COLLECTOR_REPORTSERVICE_H
