// The store in one SQLite file, in write-ahead-log mode so that reports read
// while batches are written. One connection writes, another reads. Every
// commit is synced to disk before Write returns (synchronous=FULL), which
// the writer thread's group commit pays once for many batches.
#ifndef QZ_COLLECTOR_SQLITESTORE_H
#define QZ_COLLECTOR_SQLITESTORE_H

#include <sqlite3.h>

#include <mutex>
#include <string>
#include <vector>

#include "stores/Store.h"
#include "summary/SqliteSummaryDb.h"

namespace qz {
namespace collector {

class SqliteStore : public Store {
 public:
  ~SqliteStore() override;
  // Null, with the reason, when the file is missing (and not to be created)
  // or cannot be opened or set up.
  static std::unique_ptr<SqliteStore> Open(const std::string& path, bool create, std::string& error);

  WriteStatus Write(const std::vector<const Rows*>& batches, std::string& error) override;
  bool Modify(const std::vector<std::string>& statements, const std::string& param, int64_t& changed,
              std::string& error) override;
  bool Query(const std::string& sql, const std::vector<std::string>& params, QueryResult& result,
             std::string& error) override;
  const char* Kind() const override { return "sqlite"; }

 private:
  SqliteStore() = default;
  bool Exec(const char* sql, std::string& error);
  // The statement's result code as a write outcome; rolls back when it failed.
  WriteStatus Fail(int code, const std::string& what, std::string& error);

  sqlite3* writer = nullptr;
  // One connection per query under way, so that the report's threads read
  // side by side rather than in turn; opened as needed, kept when idle.
  sqlite3* OpenReader(std::string& error);
  static bool Query(sqlite3* reader, const std::string& sql, const std::vector<std::string>& params,
                    QueryResult& result, std::string& error);
  std::string path;
  std::mutex readerLock;
  std::vector<sqlite3*> readers;  // idle
  std::vector<sqlite3_stmt*> inserts;  // per table, made on first use
  std::unique_ptr<SqliteSummaryDb> summary;  // the report's tables, on the writer
};

}  // namespace collector
}  // namespace qz

#endif  // QZ_COLLECTOR_SQLITESTORE_H
