// The summary writer's statements on SQLite's writing connection: one
// prepared statement per table and kind, kept for the connection's life.
#ifndef QZ_COLLECTOR_SQLITESUMMARYDB_H
#define QZ_COLLECTOR_SQLITESUMMARYDB_H

#include <sqlite3.h>

#include <map>
#include <string>

#include "summary/SummaryDb.h"

namespace qz {
namespace collector {

class SqliteSummaryDb : public SummaryDb {
 public:
  explicit SqliteSummaryDb(sqlite3* db) : db(db) {}
  ~SqliteSummaryDb() override;  // before the connection closes
  SqliteSummaryDb(const SqliteSummaryDb&) = delete;
  SqliteSummaryDb& operator=(const SqliteSummaryDb&) = delete;

  bool Upsert(const SummaryTable& table, const SummaryRows& rows, std::string& error) override;
  bool Claim(const SummaryTable& table, const SummaryRows& rows, std::set<std::string>& claimed,
             std::string& error) override;
  bool Select(const char* table, const char* key, const std::vector<std::string>& columns,
              const std::vector<std::string>& keys, std::map<std::string, std::vector<std::string>>& found,
              std::string& error) override;

 private:
  sqlite3_stmt* Statement(const std::string& sql, std::string& error);
  bool Insert(const SummaryTable& table, const std::string& sql, const SummaryRows& rows,
              std::set<std::string>* claimed, std::string& error);

  sqlite3* db;
  std::map<std::string, sqlite3_stmt*> statements;
};

}  // namespace collector
}  // namespace qz

#endif  // QZ_COLLECTOR_SQLITESUMMARYDB_H
