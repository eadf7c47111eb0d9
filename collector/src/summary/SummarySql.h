// The SQL text of summary writes, the same for SQLite and PostgreSQL but for
// where the rows come from.
#ifndef QZ_COLLECTOR_SUMMARYSQL_H
#define QZ_COLLECTOR_SUMMARYSQL_H

#include <string>

#include "summary/SummaryTables.h"

namespace qz {
namespace collector {

class SummarySql {
 public:
  // "VALUES (?, ?, ...)" for one row.
  static std::string Placeholders(const SummaryTable& table);
  // INSERT INTO table <source> ON CONFLICT (key) DO ... as the merge rule
  // says; claim: nothing on conflict, and the new rows' first column back.
  static std::string Insert(const SummaryTable& table, const std::string& source, bool returning);
};

}  // namespace collector
}  // namespace qz

#endif  // QZ_COLLECTOR_SUMMARYSQL_H
