#include "server/ReportService.h"

#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "common/Log.h"
#include "report/HtmlReport.h"
#include "report/JsonReport.h"
#include "report/Report.h"
#include "report/TextReport.h"

namespace qz {
namespace collector {

namespace {

constexpr size_t kMaxCached = 256;
constexpr int kNice = 5;  // ingestion's threads come first, but a busy collector still shows its report

std::string PathOf(const std::string& target) { return target.substr(0, target.find('?')); }
std::string QueryOf(const std::string& target) {
  const size_t q = target.find('?');
  return q == std::string::npos ? "" : target.substr(q + 1);
}

HttpAnswer Plain(int status, const std::string& text) {
  HttpAnswer a;
  a.status = status;
  a.body = text + "\n";
  return a;
}

// What every answer of the report carries: nothing cached by the browser
// or a proxy (the figures may be private), nothing loaded from elsewhere,
// no framing, no address passed on.
void Protect(HttpAnswer& a) {
  a.headers.emplace_back("Cache-Control", "no-store");
  a.headers.emplace_back("X-Content-Type-Options", "nosniff");
  a.headers.emplace_back("Referrer-Policy", "no-referrer");
  a.headers.emplace_back("X-Frame-Options", "DENY");
  a.headers.emplace_back("Content-Security-Policy",
                         "default-src 'none'; style-src 'unsafe-inline'; script-src 'unsafe-inline'; "
                         "form-action 'self'; frame-ancestors 'none'; base-uri 'none'");
}

// Compares in time that does not depend on where the texts differ.
bool SameSecret(const std::string& a, const std::string& b) {
  unsigned char diff = a.size() == b.size() ? 0 : 1;
  for (size_t i = 0; i < a.size(); ++i) diff |= static_cast<unsigned char>(a[i] ^ b[i % (b.empty() ? 1 : b.size())]);
  return diff == 0 && !b.empty();
}

std::string CookieValue(const std::string& header, const std::string& name) {
  size_t at = 0;
  while (at < header.size()) {
    size_t end = header.find(';', at);
    if (end == std::string::npos) end = header.size();
    std::string pair = header.substr(at, end - at);
    const size_t first = pair.find_first_not_of(' ');
    pair = first == std::string::npos ? "" : pair.substr(first);
    if (pair.compare(0, name.size() + 1, name + "=") == 0) return pair.substr(name.size() + 1);
    at = end + 1;
  }
  return "";
}

// The query without its token parameter.
std::string WithoutToken(const std::string& query, std::string& token) {
  std::string out;
  size_t at = 0;
  while (at <= query.size()) {
    size_t end = query.find('&', at);
    if (end == std::string::npos) end = query.size();
    const std::string pair = query.substr(at, end - at);
    if (pair.compare(0, 6, "token=") == 0) {
      token = ReportFilter::Decode(pair.substr(6));
    } else if (!pair.empty()) {
      out += (out.empty() ? "" : "&") + pair;
    }
    at = end + 1;
  }
  return out;
}

HttpAnswer Stopping() {
  HttpAnswer a = Plain(503, "collector stopping, try again later");
  a.retryAfterSeconds = 5;
  return a;
}

void RenicedOnce() {
  thread_local bool done = false;
  if (done) return;
  done = true;
  setpriority(PRIO_PROCESS, static_cast<id_t>(syscall(SYS_gettid)), kNice);
}

}  // namespace

constexpr char ReportService::kCookie[];

ReportService::ReportService(Store& store, const ReportOptions& options)
    : store(store), options(options), pool(options.workers, options.maxQueued) {}

ReportService::~ReportService() { Stop(); }

void ReportService::Close() { closing = true; }

void ReportService::Stop() {
  Close();
  pool.Stop();
}

int64_t ReportService::Rendered() const {
  std::lock_guard<std::mutex> hold(lock);
  return rendered;
}

bool ReportService::Serves(const std::string& path) {
  return path == "/" || path == "/report.txt" || path == "/report.json";
}

bool ReportService::Authorized(const HttpRequest& head) const {
  if (options.token.empty()) return true;
  const std::string bearer = head.Header("Authorization").value_or("");
  if (bearer.compare(0, 7, "Bearer ") == 0 && SameSecret(bearer.substr(7), options.token)) return true;
  return SameSecret(CookieValue(head.Header("Cookie").value_or(""), kCookie), options.token);
}

std::optional<HttpAnswer> ReportService::CheckHead(const HttpRequest& head) {
  const std::string path = PathOf(head.target);
  std::optional<HttpAnswer> refusal;
  if (!Serves(path)) {
    refusal = Plain(404, "not found");
  } else if (head.method != "GET" && head.method != "HEAD") {
    refusal = Plain(405, "only GET");
    refusal->headers.emplace_back("Allow", "GET, HEAD");
  } else if (!options.token.empty()) {
    std::string token;
    const std::string query = WithoutToken(QueryOf(head.target), token);
    if (!token.empty() && SameSecret(token, options.token)) {
      // The link's token becomes a cookie, and leaves the address bar and history.
      refusal = Plain(303, "see " + path);
      refusal->headers.emplace_back("Location", path + (query.empty() ? "" : "?" + query));
      refusal->headers.emplace_back("Set-Cookie", std::string(kCookie) + "=" + options.token +
                                                      "; Path=/; HttpOnly; Secure; SameSite=Strict");
    } else if (!Authorized(head)) {
      refusal = Plain(401, "a token is needed: Authorization: Bearer TOKEN, or a link with ?token=TOKEN");
      refusal->headers.emplace_back("WWW-Authenticate", "Bearer realm=\"qz-collector report\"");
    }
  }
  if (refusal) Protect(*refusal);
  return refusal;
}

HttpAnswer ReportService::Render(const std::string& path, ReportFilter filter, const std::string& today) {
  if (path != "/" && filter.view.empty()) filter.view = "all";
  Report report;
  std::string error;
  if (!Report::Load(store, filter, today, report, error)) {
    Log::Warn("ReportService", "report failed: " + error);
    HttpAnswer a = Plain(503, "report failed: " + error);
    a.retryAfterSeconds = 5;
    return a;
  }
  HttpAnswer a;
  if (path == "/") {
    a.body = HtmlReport::Render(report);
    a.contentType = "text/html; charset=utf-8";
  } else if (path == "/report.json") {
    a.body = JsonReport::Render(report);
    a.contentType = "application/json";
  } else {
    a.body = TextReport::Render(report);
    a.contentType = "text/plain; charset=utf-8";
  }
  return a;
}

void ReportService::Send(const Waiter& w, HttpAnswer a) {
  if (w.head) a.body.clear();
  Protect(a);
  w.respond(std::move(a));
}

void ReportService::Finish(const std::string& key, const HttpAnswer& answer) {
  std::vector<Waiter> waiting;
  {
    std::lock_guard<std::mutex> hold(lock);
    const auto it = flights.find(key);
    if (it == flights.end()) return;
    waiting = std::move(it->second);
    flights.erase(it);
  }
  for (const Waiter& w : waiting) Send(w, answer);
}

void ReportService::Handle(HttpRequest request, Respond respond) {
  const Waiter waiter{std::move(respond), request.method == "HEAD"};
  const std::string path = PathOf(request.target);
  ReportFilter filter;
  std::string error, ignored;
  if (closing) return Send(waiter, Stopping());
  if (!filter.SetFromQuery(WithoutToken(QueryOf(request.target), ignored), error)) return Send(waiter, Plain(400, error));
  const std::string today = ReportFilter::Today();
  const std::string key = path + "?" + filter.Query() + "#" + today;
  {
    std::unique_lock<std::mutex> hold(lock);
    const auto cached = cache.find(key);
    if (cached != cache.end() && cached->second.until > std::chrono::steady_clock::now()) {
      HttpAnswer a = cached->second.answer;
      hold.unlock();
      return Send(waiter, std::move(a));
    }
    auto flight = flights.find(key);
    if (flight != flights.end()) return flight->second.push_back(waiter);
    flights[key].push_back(waiter);
  }
  const bool queued = pool.Post([this, key, path, filter, today] {
    if (closing) return Finish(key, Stopping());
    RenicedOnce();
    const HttpAnswer a = Render(path, filter, today);
    if (a.status == 200) {
      const auto now = std::chrono::steady_clock::now();
      std::lock_guard<std::mutex> hold(lock);
      ++rendered;
      if (cache.size() >= kMaxCached) {
        for (auto it = cache.begin(); it != cache.end();) it = it->second.until <= now ? cache.erase(it) : std::next(it);
        if (cache.size() >= kMaxCached) cache.clear();
      }
      cache[key] = Cached{now + options.cacheFor, a};
    }
    Finish(key, a);
  });
  if (!queued) {
    HttpAnswer busy = Plain(503, "report busy, try again later");
    busy.retryAfterSeconds = 5;
    Finish(key, closing ? Stopping() : busy);
  }
}

}  // namespace collector
}  // namespace qz
