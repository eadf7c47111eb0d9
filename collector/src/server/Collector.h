// The collector as one object: the store with its writer thread and expiry,
// the wire schema, the workers that check batches, and the HTTP and HTTPS
// ports with their routes. The program runs one; tests run one in-process.
#ifndef QZ_COLLECTOR_COLLECTOR_H
#define QZ_COLLECTOR_COLLECTOR_H

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "ingest/BatchParser.h"
#include "ingest/MessagingSchema.h"
#include "server/ConnectionLog.h"
#include "server/HttpServer.h"
#include "server/ReportService.h"
#include "server/ServerLimits.h"
#include "server/TlsContext.h"
#include "server/WorkerPool.h"
#include "stores/Retention.h"
#include "stores/Store.h"
#include "stores/StoreWriter.h"

namespace qz {
namespace collector {

struct CollectorOptions {
  std::string sqlitePath = "qz-collector.db";
  std::string postgres;  // a connection string: PostgreSQL instead of SQLite
  bool create = false;   // make the SQLite file when it does not exist
  std::string listen = "127.0.0.1";
  int httpPort = -1;     // -1: none; 0: any free port
  int httpsPort = 8443;  // -1: none; 0: any free port
  std::string certFile = "qz-collector-cert.pem";
  std::string keyFile = "qz-collector-key.pem";
  ServerLimits limits;
  size_t maxPendingBatches = 4096;  // batches waiting for the writer
  int retainDays = 0;               // 0: keep everything
  std::chrono::milliseconds retentionInterval = std::chrono::hours(1);
  std::vector<std::string> allowedCompanies;  // empty: any company
  // The report's own HTTPS listener, "ADDRESS:PORT" (port 0: any free one);
  // empty: none. When it names an ingestion port, the report is served there.
  std::string reportListen = "127.0.0.1:8444";
  ReportOptions report;
};

class Collector : private HttpHandler {
 public:
  explicit Collector(const CollectorOptions& options);
  ~Collector() override;
  Collector(const Collector&) = delete;
  Collector& operator=(const Collector&) = delete;

  // Opens the store, binds the ports and starts serving.
  bool Start(std::string& error);
  // Stops accepting, answers the requests in progress, writes what is queued.
  void Stop();

  int HttpPort() const { return httpPort; }
  int HttpsPort() const { return httpsPort; }
  int ReportPort() const { return reportPort; }  // -1: none of its own
  ReportService& Reports() { return *reports; }
  Store& GetStore() { return *store; }
  const ConnectionLog& Refusals() const { return refusals; }
  size_t Connections() const { return server ? server->Connections() : 0; }

 private:
  std::optional<HttpAnswer> CheckHead(const HttpRequest& head) override;
  void Handle(HttpRequest request, Respond respond) override;
  void Publish(const HttpRequest& request, const Respond& respond);
  void Refuse(const HttpRequest& request, const Respond& respond, int status, const std::string& reason);
  bool StartReports(const ServerLimits& ingestion, std::string& error);

  CollectorOptions options;
  MessagingSchema schema;
  BatchParser parser;
  ConnectionLog refusals;
  std::unique_ptr<Store> store;
  std::unique_ptr<StoreWriter> writer;
  std::unique_ptr<Retention> retention;
  std::unique_ptr<WorkerPool> workers;
  TlsContext tls;
  std::unique_ptr<HttpServer> server;
  std::unique_ptr<ReportService> reports;
  std::unique_ptr<HttpServer> reportServer;
  bool reportsOnIngest = false;
  int httpPort = -1;
  int httpsPort = -1;
  int reportPort = -1;
  bool stopped = false;
};

}  // namespace collector
}  // namespace qz

#endif  // QZ_COLLECTOR_COLLECTOR_H
