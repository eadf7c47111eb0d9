#include "server/Collector.h"

#include <strings.h>
#include <sys/resource.h>

#include <algorithm>
#include <csignal>
#include <thread>

#include "common/Log.h"
#include "common/TimeText.h"
#include "ingest/BatchRows.h"
#include "ingest/RequestHeaders.h"

namespace qz {
namespace collector {

namespace {

// Any path that ends in /Publish, the default one included:
// /Tessary.Web.Services.Messaging/MessagingServiceV3.svc/Publish
bool IsPublish(const std::string& path) {
  constexpr char kSuffix[] = "/Publish";
  const size_t n = sizeof kSuffix - 1;
  return path.size() >= n && path.compare(path.size() - n, n, kSuffix) == 0;
}

std::string PathOf(const std::string& target) { return target.substr(0, target.find('?')); }

HttpAnswer Text(int status, const std::string& text, int retryAfter = 0) {
  HttpAnswer a;
  a.status = status;
  a.body = text + "\n";
  a.retryAfterSeconds = retryAfter;
  return a;
}

// What the report's listener may cost: a few connections and threads, and
// no request bodies.
ServerLimits ReportLimits(const ServerLimits& ingestion) {
  ServerLimits l = ingestion;
  l.maxBody = 1;
  l.maxMemory = 1u << 20;
  l.maxConnections = 256;
  l.ioThreads = 1;
  l.workTimeoutMs = 60000;
  return l;
}

// "ADDRESS:PORT" or "[IPv6]:PORT".
bool SplitAddress(const std::string& text, std::string& address, int& port) {
  const size_t colon = text.rfind(':');
  if (colon == std::string::npos || colon + 1 >= text.size()) return false;
  address = text.substr(0, colon);
  if (address.size() > 2 && address.front() == '[' && address.back() == ']') address = address.substr(1, address.size() - 2);
  char* end = nullptr;
  const long p = std::strtol(text.c_str() + colon + 1, &end, 10);
  if (*end != 0 || p < 0 || p > 65535 || address.empty()) return false;
  port = static_cast<int>(p);
  return true;
}

// Descriptors for every connection allowed, and some for the store and logs.
size_t RaiseDescriptorLimit(size_t connections) {
  constexpr rlim_t kSpare = 256;
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return connections;
  const rlim_t wanted = static_cast<rlim_t>(connections) + kSpare;
  if (limit.rlim_cur < wanted) {
    limit.rlim_cur = std::min(wanted, limit.rlim_max);
    setrlimit(RLIMIT_NOFILE, &limit);
    getrlimit(RLIMIT_NOFILE, &limit);
  }
  if (limit.rlim_cur >= wanted) return connections;
  const size_t fit = limit.rlim_cur > kSpare * 2 ? static_cast<size_t>(limit.rlim_cur - kSpare) : 64;
  Log::Warn("Collector", "only " + std::to_string(limit.rlim_cur) + " descriptors allowed: at most " +
                             std::to_string(fit) + " connections");
  return fit;
}

}  // namespace

Collector::Collector(const CollectorOptions& options) : options(options), parser(schema) {
  for (std::string& id : this->options.allowedCompanies) {
    for (char& c : id) c = static_cast<char>(toupper(static_cast<unsigned char>(c)));
  }
}

Collector::~Collector() { Stop(); }

bool Collector::Start(std::string& error) {
  // A client that vanishes mid-answer must not end the process.
  std::signal(SIGPIPE, SIG_IGN);
  store = Store::Open(options.sqlitePath, options.postgres, options.create, error);
  if (!store) return false;
  writer = std::make_unique<StoreWriter>(*store, options.maxPendingBatches);
  ServerLimits limits = options.limits;
  const size_t processors = std::max(1u, std::thread::hardware_concurrency());
  if (limits.workers == 0) limits.workers = processors;
  limits.maxConnections = RaiseDescriptorLimit(limits.maxConnections);
  workers = std::make_unique<WorkerPool>(limits.workers, limits.maxQueued);
  const bool secure = options.httpsPort >= 0 || !options.reportListen.empty();
  if (secure && !tls.Load(options.certFile, options.keyFile, error)) return false;
  server = std::make_unique<HttpServer>(limits, static_cast<HttpHandler&>(*this), refusals);
  for (const bool secure : {false, true}) {
    const int port = secure ? options.httpsPort : options.httpPort;
    if (port < 0) continue;
    const int bound = server->Listen(options.listen, port, secure ? tls.Get() : nullptr, error);
    if (bound < 0) return false;
    (secure ? httpsPort : httpPort) = bound;
  }
  if (!StartReports(limits, error)) return false;
  server->Start();
  if (reportServer) reportServer->Start();
  if (options.retainDays > 0) {
    retention = std::make_unique<Retention>(*writer, options.retainDays, options.retentionInterval);
  }
  return true;
}

bool Collector::StartReports(const ServerLimits& ingestion, std::string& error) {
  reports = std::make_unique<ReportService>(*store, options.report);
  if (options.reportListen.empty()) return true;
  std::string address;
  int port = 0;
  if (!SplitAddress(options.reportListen, address, port)) {
    error = "--report-listen needs ADDRESS:PORT, not " + options.reportListen;
    return false;
  }
  if (port != 0 && address == options.listen && (port == options.httpsPort || port == options.httpPort)) {
    reportsOnIngest = true;  // asked for: the report shares an ingestion port
    return true;
  }
  reportServer = std::make_unique<HttpServer>(ReportLimits(ingestion), static_cast<HttpHandler&>(*reports), refusals);
  reportPort = reportServer->Listen(address, port, tls.Get(), error);
  return reportPort >= 0;
}

void Collector::Stop() {
  if (stopped) return;
  stopped = true;
  // Answers need the workers and the writer: they stop after the server,
  // and the server goes only once nothing can answer through it any more.
  // Reports are not worth a slower stop: those waiting are answered 503.
  if (reports) reports->Close();
  if (reportServer) reportServer->Stop();
  if (server) server->Stop();
  if (reports) reports->Stop();
  if (retention) retention->Stop();
  if (workers) workers->Stop();
  if (writer) writer->Stop();
  server.reset();
  reportServer.reset();
  if (writer && writer->StoredBatches() > 0) {
    const int64_t n = writer->StoredBatches();
    Log::Note("Collector", "stored " + std::to_string(n) + " batches; processor time per batch: checking " +
                               std::to_string(workers->BusyMicros() / n) + " us, storing " +
                               std::to_string(writer->BusyMicros() / n) + " us");
  }
}

std::optional<HttpAnswer> Collector::CheckHead(const HttpRequest& head) {
  const std::string path = PathOf(head.target);
  if (head.method == "POST" && IsPublish(path)) {
    if (options.allowedCompanies.empty()) return std::nullopt;
    std::string company = head.Header("X-QZ-CID").value_or("");
    for (char& c : company) c = static_cast<char>(toupper(static_cast<unsigned char>(c)));
    const auto& allowed = options.allowedCompanies;
    if (std::find(allowed.begin(), allowed.end(), company) != allowed.end()) return std::nullopt;
    return Text(403, "company " + company + " is not accepted here");
  }
  if (head.method == "GET" && path == "/health") return std::nullopt;
  if (reportsOnIngest && ReportService::Serves(path)) return reports->CheckHead(head);
  return Text(404, "not found");
}

void Collector::Handle(HttpRequest request, Respond respond) {
  const std::string path = PathOf(request.target);
  if (path == "/health") {
    // For load balancers: no store access, nothing a probe could slow.
    return respond(Text(200, "ok"));
  }
  // The report has a pool of its own, wherever it is served.
  if (request.method != "POST") return reports->Handle(std::move(request), std::move(respond));
  auto shared = std::make_shared<HttpRequest>(std::move(request));
  const bool queued = workers->Post([this, shared, respond] { Publish(*shared, respond); });
  if (!queued) {
    refusals.Count(ConnectionLog::Saturated, shared->remote, "no worker free");
    respond(Text(503, "collector busy, try again later", 5));
  }
}

void Collector::Refuse(const HttpRequest& request, const Respond& respond, int status, const std::string& reason) {
  // One line: a reason may quote what the client sent.
  std::string line = reason;
  for (char& c : line) {
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) c = ' ';
  }
  refusals.Count(ConnectionLog::BadRequest, request.remote, std::to_string(status) + " " + line);
  respond(Text(status, line));
}

void Collector::Publish(const HttpRequest& request, const Respond& respond) {
  Batch batch;
  std::string error;
  if (!parser.Parse(request.body, batch.root, error)) return Refuse(request, respond, 400, error);
  RequestHeaders headers{request.Header("Content-Type"), request.Header("X-QZ-CID"), request.Header("X-QZ-AID"),
                         request.Header("X-QZ-GID"), request.Header("X-QZ-API")};
  if (!headers.Check(batch.root, batch, error)) return Refuse(request, respond, 400, error);
  batch.received = TimeText::Now();
  const std::string what = "batch " + batch.root.Get("id") + " (" + std::to_string(batch.root.children.size() - 2) +
                           " messages, " + batch.agent + ") from " + request.remote;
  const bool queued = writer->Submit(BatchRows::Build(batch), [this, respond, what](WriteStatus status,
                                                                                    const std::string& reason) {
    switch (status) {
      case WriteStatus::Stored:
        Log::Info("Collector::Publish", "stored " + what);
        return respond(HttpAnswer{204, "", "", 0, {}});
      case WriteStatus::Retry:
        return respond(Text(503, "batch not stored, try again later", 5));
      case WriteStatus::Refused:
        // Storing it again would fail the same way: the client must not retry.
        Log::Error("Collector::Publish", "cannot store " + what + ": " + reason);
        return respond(Text(400, "batch cannot be stored: " + reason));
    }
  });
  if (!queued) {
    refusals.Count(ConnectionLog::Saturated, request.remote, "writer queue full");
    respond(Text(503, "collector busy, try again later", 5));
  }
}

}  // namespace collector
}  // namespace qz
