// The report over HTTP: "/" (the page), "/report.txt" and "/report.json",
// each taking the filters from the query string. It runs on a small pool of
// its own, at a lower priority than ingestion, and keeps what it rendered
// for a few seconds, so that many reloads cost one query. With a token,
// every request must carry it: an "Authorization: Bearer" header, or the
// cookie that a link with "?token=" sets (that link is answered with a
// redirect to the same page without the token in its address).
#ifndef QZ_COLLECTOR_REPORTSERVICE_H
#define QZ_COLLECTOR_REPORTSERVICE_H

#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <string>

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
  // Answers what is queued, then ends the pool's threads.
  void Stop();
  // Reports rendered (not taken from the cache), for tests.
  int64_t Rendered() const;

 private:
  struct Cached {
    std::chrono::steady_clock::time_point until;
    HttpAnswer answer;
  };
  HttpAnswer Render(const std::string& path, const std::string& query);
  bool Authorized(const HttpRequest& head) const;

  Store& store;
  const ReportOptions options;
  WorkerPool pool;
  mutable std::mutex lock;
  std::map<std::string, Cached> cache;
  int64_t rendered = 0;
};

}  // namespace collector
}  // namespace qz

#endif  // QZ_COLLECTOR_REPORTSERVICE_H
