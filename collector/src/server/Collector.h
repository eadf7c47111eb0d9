// The collector as one object: the store and its writer thread, the wire
// schema, and the HTTP and HTTPS ports with their routes. The program runs
// one; tests run one in-process.
#ifndef QZ_COLLECTOR_COLLECTOR_H
#define QZ_COLLECTOR_COLLECTOR_H

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "ingest/BatchParser.h"
#include "ingest/MessagingSchema.h"
#include "server/HttpServer.h"
#include "server/TlsContext.h"
#include "stores/Store.h"
#include "stores/StoreWriter.h"

namespace qz {
namespace collector {

struct CollectorOptions {
  std::string sqlitePath = "qz-collector.db";
  std::string postgres;  // a connection string: PostgreSQL instead of SQLite
  std::string listen = "127.0.0.1";
  int httpPort = -1;     // -1: none; 0: any free port
  int httpsPort = 8443;  // -1: none; 0: any free port
  std::string certFile = "qz-collector-cert.pem";
  std::string keyFile = "qz-collector-key.pem";
  ServerLimits limits;
  int storeWaitMs = 30000;          // longest a request waits for its batch to be written
  size_t maxPendingBatches = 4096;  // batches waiting for the writer
};

class Collector {
 public:
  explicit Collector(const CollectorOptions& options);
  ~Collector();
  Collector(const Collector&) = delete;
  Collector& operator=(const Collector&) = delete;

  // Opens the store, binds the ports and starts serving.
  bool Start(std::string& error);
  // Stops accepting, lets the requests in progress finish, writes what is queued.
  void Stop();

  int HttpPort() const { return httpPort; }
  int HttpsPort() const { return httpsPort; }
  Store& GetStore() { return *store; }

 private:
  void Route(HttpServer& server);
  void Publish(const httplib::Request& request, httplib::Response& response,
               const httplib::ContentReader& reader);

  const CollectorOptions options;
  MessagingSchema schema;
  BatchParser parser;
  std::unique_ptr<Store> store;
  std::unique_ptr<StoreWriter> writer;
  TlsContext tls;
  std::vector<std::unique_ptr<HttpServer>> servers;
  std::vector<std::thread> threads;
  int httpPort = -1;
  int httpsPort = -1;
};

}  // namespace collector
}  // namespace qz

#endif  // QZ_COLLECTOR_COLLECTOR_H
