// Where batches are kept: SQLite (a file, the default) or PostgreSQL (a
// connection string), both with the schema of Tables.
#ifndef QZ_COLLECTOR_STORE_H
#define QZ_COLLECTOR_STORE_H

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "stores/Tables.h"

namespace qz {
namespace collector {

using Value = std::optional<std::string>;  // nullopt is SQL NULL

struct Row {
  TableId table;
  std::vector<Value> values;  // one per column of the table, in order
};

// The rows of one batch.
using Rows = std::vector<Row>;

struct QueryResult {
  std::vector<std::string> columns;
  std::vector<std::vector<Value>> rows;
};

class Store {
 public:
  virtual ~Store() = default;

  // Writes the rows of several batches in one transaction. A row whose key
  // is already stored is kept as it is, so writing a batch again is harmless.
  // Called by one thread at a time.
  virtual bool Write(const std::vector<const Rows*>& batches, std::string& error) = 0;
  // A read-only query; each "?" takes the next parameter. Any thread.
  virtual bool Query(const std::string& sql, const std::vector<std::string>& params,
                     QueryResult& result, std::string& error) = 0;
  // "sqlite" or "postgresql".
  virtual const char* Kind() const = 0;

  // A PostgreSQL connection string ("postgresql://..." or "host=... dbname=...")
  // when postgres is set, otherwise an SQLite file. Creates the schema when missing.
  static std::unique_ptr<Store> Open(const std::string& sqlitePath, const std::string& postgres,
                                     std::string& error);
};

}  // namespace collector
}  // namespace qz

#endif  // QZ_COLLECTOR_STORE_H
