// The store in a PostgreSQL database, which several collectors may share.
// One connection writes, another reads; every statement is bounded by a
// statement time-out, and a lost connection is re-opened once per call.
// Writes send each table's rows as one array per column to a prepared
// statement, so a group of batches costs a round trip per table. Rows go in
// one order of tables and keys, the same in every collector, so that two
// collectors storing the same messages never wait for each other in a
// cycle; a deadlock or serialization failure all the same is tried again.
// Commits wait for the server's sync (synchronous_commit on).
#ifndef QZ_COLLECTOR_POSTGRESSTORE_H
#define QZ_COLLECTOR_POSTGRESSTORE_H

#include <libpq-fe.h>

#include <mutex>
#include <string>
#include <vector>

#include "stores/Store.h"

namespace qz {
namespace collector {

class PostgresStore : public Store {
 public:
  ~PostgresStore() override;
  static std::unique_ptr<PostgresStore> Open(const std::string& connection, std::string& error);

  WriteStatus Write(const std::vector<const Rows*>& batches, std::string& error) override;
  bool Modify(const std::vector<std::string>& statements, const std::string& param, int64_t& changed,
              std::string& error) override;
  bool Query(const std::string& sql, const std::vector<std::string>& params, QueryResult& result,
             std::string& error) override;
  const char* Kind() const override { return "postgresql"; }

 private:
  PostgresStore() = default;
  bool PrepareInserts(std::string& error);
  // One try; sqlState is the server's code for the failure ("" when none came).
  bool WriteOnce(const std::vector<std::vector<const Row*>>& byTable, std::string& sqlState, std::string& error);
  // A new connection after the old one was lost; false when none can be had.
  bool Reconnect();

  std::string connection;
  PGconn* writer = nullptr;
  bool prepared = false;  // the writer's insert statements exist
  PGconn* reader = nullptr;
  std::mutex readerLock;
};

}  // namespace collector
}  // namespace qz

#endif  // QZ_COLLECTOR_POSTGRESSTORE_H
