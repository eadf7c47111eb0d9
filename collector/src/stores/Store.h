// Where batches are kept: SQLite (a file, the default) or PostgreSQL (a
// connection string), both with the schema of Tables.
#ifndef QZ_COLLECTOR_STORE_H
#define QZ_COLLECTOR_STORE_H

#include <cstdint>
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

// What became of a write: on disk when Stored (the transaction is synced), or
// not written at all: Retry when the store cannot write now (locked, full,
// unreachable), Refused when these rows can never be stored as they are.
enum class WriteStatus { Stored, Retry, Refused };

class Store {
 public:
  virtual ~Store() = default;

  // Writes the rows of several batches in one transaction, returning only
  // once it is durable. A row whose key is already stored is kept as it is,
  // so writing a batch again is harmless. Called by one thread at a time.
  virtual WriteStatus Write(const std::vector<const Rows*>& batches, std::string& error) = 0;
  // Runs the statements in one transaction, each with its one parameter for
  // every "?"; changed is what the last one changed. Same thread as Write.
  virtual bool Modify(const std::vector<std::string>& statements, const std::string& param, int64_t& changed,
                      std::string& error) = 0;
  // A read-only query; each "?" takes the next parameter. Any thread.
  virtual bool Query(const std::string& sql, const std::vector<std::string>& params,
                     QueryResult& result, std::string& error) = 0;
  // "sqlite" or "postgresql".
  virtual const char* Kind() const = 0;

  // Deletes up to limit of the oldest messages generated before cutoffMs,
  // with their rows, or else up to limit batches received before that time.
  // deleted is how many; 0 when nothing is that old any more.
  bool Expire(int64_t cutoffMs, size_t limit, int64_t& deleted, std::string& error);

  // A PostgreSQL connection string ("postgresql://..." or "host=... dbname=...")
  // when postgres is set, otherwise an SQLite file, which must exist unless
  // create is set (then it is made, readable by its owner only). Creates the
  // tables when missing.
  static std::unique_ptr<Store> Open(const std::string& sqlitePath, const std::string& postgres, bool create,
                                     std::string& error);
};

}  // namespace collector
}  // namespace qz

#endif  // QZ_COLLECTOR_STORE_H
