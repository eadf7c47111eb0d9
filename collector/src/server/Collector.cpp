#include "server/Collector.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>

#include "common/Log.h"
#include "common/TimeText.h"
#include "ingest/BatchRows.h"
#include "ingest/RequestHeaders.h"
#include "report/HtmlReport.h"
#include "report/Report.h"
#include "report/TextReport.h"

namespace qz {
namespace collector {

namespace {

// Any path that ends in /Publish, the default one included:
// /Tessary.Web.Services.Messaging/MessagingServiceV3.svc/Publish
constexpr char kPublishPattern[] = R"(.*/Publish)";

std::optional<std::string> Header(const httplib::Request& request, const char* name) {
  if (!request.has_header(name)) return std::nullopt;
  return request.get_header_value(name);
}

void Refuse(const httplib::Request& request, httplib::Response& response, int status, std::string reason) {
  // One line: a reason may quote what the client sent.
  for (char& c : reason) {
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) c = ' ';
  }
  response.status = status;
  response.set_content(reason + "\n", "text/plain");
  Log::Warn("Collector::Publish", std::to_string(status) + " to " + request.remote_addr + ": " + reason);
}

void CloseAfter(bool linger) {
  if (RequestContext* context = HttpServer::Current()) {
    context->close = true;
    context->linger = context->linger || linger;
  }
}

bool TimedOut() {
  RequestContext* context = HttpServer::Current();
  return context != nullptr && context->stream != nullptr && context->stream->TimedOut();
}

}  // namespace

Collector::Collector(const CollectorOptions& options) : options(options), parser(schema) {}

Collector::~Collector() { Stop(); }

bool Collector::Start(std::string& error) {
  // A client that vanishes mid-answer must not end the process.
  std::signal(SIGPIPE, SIG_IGN);
  store = Store::Open(options.sqlitePath, options.postgres, error);
  if (!store) return false;
  writer = std::make_unique<StoreWriter>(*store, options.maxPendingBatches);
  if (options.httpsPort >= 0 && !tls.Load(options.certFile, options.keyFile, error)) return false;

  for (const bool secure : {false, true}) {
    const int port = secure ? options.httpsPort : options.httpPort;
    if (port < 0) continue;
    auto server = std::make_unique<HttpServer>(options.limits, secure ? tls.Get() : nullptr);
    Route(*server);
    const int bound = server->Bind(options.listen, port);
    if (bound < 0) {
      error = "cannot listen on " + options.listen + ":" + std::to_string(port);
      servers.clear();  // none serves yet: nothing to stop
      return false;
    }
    (secure ? httpsPort : httpPort) = bound;
    servers.push_back(std::move(server));
  }
  for (auto& server : servers) threads.emplace_back(&HttpServer::Serve, server.get());
  return true;
}

void Collector::Stop() {
  for (auto& server : servers) server->Stop();
  for (std::thread& t : threads) {
    if (t.joinable()) t.join();
  }
  threads.clear();
  servers.clear();
  if (writer) writer->Stop();
}

void Collector::Route(HttpServer& server) {
  const size_t maxBody = options.limits.maxBody;
  server.set_pre_routing_handler([maxBody](const httplib::Request& request, httplib::Response& response) {
    if (request.method != "POST") return httplib::Server::HandlerResponse::Unhandled;
    // Answered before the body is read: a declared size over the limit, and
    // compressed bodies (the library never compresses; a small compressed
    // body could unpack to any size).
    const std::string encoding = request.get_header_value("Content-Encoding");
    if (!encoding.empty() && encoding != "identity") {
      Refuse(request, response, 415, "Content-Encoding is not supported");
      CloseAfter(true);
      return httplib::Server::HandlerResponse::Handled;
    }
    if (request.has_header("Content-Length")) {
      const std::string length = request.get_header_value("Content-Length");
      char* end = nullptr;
      const unsigned long long declared = std::strtoull(length.c_str(), &end, 10);
      if (end == length.c_str() || *end != 0) {
        Refuse(request, response, 400, "Content-Length is not a number");
        CloseAfter(true);
        return httplib::Server::HandlerResponse::Handled;
      }
      if (declared > maxBody) {
        Refuse(request, response, 413, "batch larger than " + std::to_string(maxBody) + " bytes");
        CloseAfter(true);
        return httplib::Server::HandlerResponse::Handled;
      }
    }
    return httplib::Server::HandlerResponse::Unhandled;
  });
  // httplib's own refusals (a broken request line, a body cut short) become
  // 408 when the request simply ran out of time.
  server.set_error_handler(httplib::Server::HandlerWithResponse([](const httplib::Request&,
                                                                  httplib::Response& response) {
    if (TimedOut()) {
      response.status = 408;
      response.set_content("request not received in time\n", "text/plain");
      CloseAfter(false);
    }
    return httplib::Server::HandlerResponse::Unhandled;
  }));
  server.Post(kPublishPattern, [this](const httplib::Request& request, httplib::Response& response,
                                      const httplib::ContentReader& reader) {
    Publish(request, response, reader);
  });
  // The report, rendered as a page or as text.
  const auto report = [this](std::string (*render)(const Report&), const char* type) {
    return [this, render, type](const httplib::Request&, httplib::Response& response) {
      Report loaded;
      std::string error;
      if (!Report::Load(*store, loaded, error)) {
        response.status = 500;
        response.set_content("report failed: " + error + "\n", "text/plain");
        return;
      }
      response.set_content(render(loaded), type);
    };
  };
  server.Get("/", report(&HtmlReport::Render, "text/html; charset=utf-8"));
  server.Get("/report.txt", report(&TextReport::Render, "text/plain; charset=utf-8"));
}

void Collector::Publish(const httplib::Request& request, httplib::Response& response,
                        const httplib::ContentReader& reader) {
  const size_t maxBody = options.limits.maxBody;
  std::string body;
  // One allocation for the declared size (already checked against the limit).
  body.reserve(std::min<size_t>(maxBody, std::strtoull(request.get_header_value("Content-Length").c_str(), nullptr, 10)));
  bool tooLarge = false;
  const bool read = reader([&](const char* data, size_t length) {
    if (body.size() + length > maxBody) {
      tooLarge = true;
      return false;
    }
    body.append(data, length);
    return true;
  });
  if (!read) {
    if (tooLarge) {
      Refuse(request, response, 413, "batch larger than " + std::to_string(maxBody) + " bytes");
      CloseAfter(true);
    } else if (TimedOut()) {
      Refuse(request, response, 408, "request not received in time");
      CloseAfter(false);
    } else {
      Refuse(request, response, 400, "incomplete body");
      CloseAfter(false);
    }
    return;
  }

  Batch batch;
  std::string error;
  if (!parser.Parse(body, batch.root, error)) {
    Refuse(request, response, 400, error);
    return;
  }
  RequestHeaders headers{Header(request, "Content-Type"), Header(request, "X-QZ-CID"), Header(request, "X-QZ-AID"),
                         Header(request, "X-QZ-GID"), Header(request, "X-QZ-API")};
  if (!headers.Check(batch.root, batch, error)) {
    Refuse(request, response, 400, error);
    return;
  }
  batch.received = TimeText::Now();
  const size_t messages = batch.root.children.size() - 2;
  switch (writer->Submit(BatchRows::Build(batch), std::chrono::milliseconds(options.storeWaitMs))) {
    case StoreWriter::Result::Stored:
      response.status = 204;
      Log::Info("Collector::Publish", "stored batch " + batch.root.Get("id") + " (" + std::to_string(messages) +
                                          " messages, " + batch.agent + ") from " + request.remote_addr);
      return;
    case StoreWriter::Result::Failed:
      response.status = 500;
      response.set_content("batch not stored\n", "text/plain");
      return;
    case StoreWriter::Result::Busy:
    case StoreWriter::Result::TimedOut:
      response.status = 503;
      response.set_header("Retry-After", "5");
      response.set_content("collector busy, try again later\n", "text/plain");
      return;
  }
}

}  // namespace collector
}  // namespace qz
