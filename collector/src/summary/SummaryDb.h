// What the summary writer needs of the store's writing connection, inside
// the transaction that is storing the batches: SQLite runs a prepared
// statement per row, PostgreSQL one statement per table over arrays.
#ifndef QZ_COLLECTOR_SUMMARYDB_H
#define QZ_COLLECTOR_SUMMARYDB_H

#include <map>
#include <set>
#include <string>
#include <vector>

#include "stores/Store.h"
#include "summary/SummaryTables.h"

namespace qz {
namespace collector {

using SummaryRows = std::vector<std::vector<Value>>;

class SummaryDb {
 public:
  virtual ~SummaryDb() = default;
  // Writes the rows (keys unique among them) as the table's merge rule says.
  virtual bool Upsert(const SummaryTable& table, const SummaryRows& rows, std::string& error) = 0;
  // Writes the rows that are new and names them by their first column.
  virtual bool Claim(const SummaryTable& table, const SummaryRows& rows, std::set<std::string>& claimed,
                     std::string& error) = 0;
  // The columns (as text, NULL as "") of each row of table whose key column
  // is one of keys, by key.
  virtual bool Select(const char* table, const char* key, const std::vector<std::string>& columns,
                      const std::vector<std::string>& keys, std::map<std::string, std::vector<std::string>>& found,
                      std::string& error) = 0;
};

}  // namespace collector
}  // namespace qz

#endif  // QZ_COLLECTOR_SUMMARYDB_H
