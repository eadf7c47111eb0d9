// The summary writer's statements on PostgreSQL's writing connection: one
// statement per table for all of a group's rows, each column sent as an
// array. The server's code for a failure is kept, so that the store can
// tell a deadlock (try again) from rows at fault.
#ifndef QZ_COLLECTOR_POSTGRESSUMMARYDB_H
#define QZ_COLLECTOR_POSTGRESSUMMARYDB_H

#include <libpq-fe.h>

#include <string>

#include "summary/SummaryDb.h"

namespace qz {
namespace collector {

class PostgresSummaryDb : public SummaryDb {
 public:
  explicit PostgresSummaryDb(PGconn* db) : db(db) {}

  bool Upsert(const SummaryTable& table, const SummaryRows& rows, std::string& error) override;
  bool Claim(const SummaryTable& table, const SummaryRows& rows, std::set<std::string>& claimed,
             std::string& error) override;
  bool Select(const char* table, const char* key, const std::vector<std::string>& columns,
              const std::vector<std::string>& keys, std::map<std::string, std::vector<std::string>>& found,
              std::string& error) override;
  // The SQLSTATE of the last failure, "" when none came.
  const std::string& SqlState() const { return sqlState; }

 private:
  // Runs sql with the parameters; the answer's rows go to out.
  bool Run(const std::string& sql, const std::vector<std::string>& params,
           std::vector<std::vector<std::string>>* out, std::string& error);
  bool Insert(const SummaryTable& table, const SummaryRows& rows, bool returning,
              std::vector<std::vector<std::string>>* out, std::string& error);

  PGconn* db;
  std::string sqlState;
};

}  // namespace collector
}  // namespace qz

#endif  // QZ_COLLECTOR_POSTGRESSUMMARYDB_H
