#include "stores/SqliteStore.h"

#include <cstdlib>

namespace qz {
namespace collector {

namespace {

// Waits of one connection for another's lock are bounded.
constexpr int kBusyTimeoutMs = 10000;

std::string Error(sqlite3* db, const std::string& what) {
  return what + ": " + (db != nullptr ? sqlite3_errmsg(db) : "out of memory");
}

}  // namespace

SqliteStore::~SqliteStore() {
  for (sqlite3_stmt* s : inserts) sqlite3_finalize(s);
  sqlite3_close(reader);
  sqlite3_close(writer);
}

std::unique_ptr<SqliteStore> SqliteStore::Open(const std::string& path, std::string& error) {
  std::unique_ptr<SqliteStore> store(new SqliteStore());
  const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;
  if (sqlite3_open_v2(path.c_str(), &store->writer, flags, nullptr) != SQLITE_OK) {
    error = Error(store->writer, "cannot open " + path);
    return nullptr;
  }
  sqlite3_busy_timeout(store->writer, kBusyTimeoutMs);
  // WAL with NORMAL sync: a commit is one append, the file stays consistent
  // after a crash, and readers never block the writer.
  if (!store->Exec("PRAGMA journal_mode=WAL", error) || !store->Exec("PRAGMA synchronous=NORMAL", error)) {
    return nullptr;
  }
  for (const std::string& sql : Tables::CreateStatements()) {
    if (!store->Exec(sql.c_str(), error)) return nullptr;
  }
  if (sqlite3_open_v2(path.c_str(), &store->reader, SQLITE_OPEN_READONLY | SQLITE_OPEN_NOMUTEX, nullptr) !=
      SQLITE_OK) {
    error = Error(store->reader, "cannot open " + path + " for reading");
    return nullptr;
  }
  sqlite3_busy_timeout(store->reader, kBusyTimeoutMs);
  store->inserts.assign(Tables::All().size(), nullptr);
  return store;
}

bool SqliteStore::Exec(const char* sql, std::string& error) {
  char* message = nullptr;
  if (sqlite3_exec(writer, sql, nullptr, nullptr, &message) == SQLITE_OK) return true;
  error = std::string(sql) + ": " + (message != nullptr ? message : "failed");
  sqlite3_free(message);
  return false;
}

bool SqliteStore::Write(const std::vector<const Rows*>& batches, std::string& error) {
  if (!Exec("BEGIN IMMEDIATE", error)) return false;
  for (const Rows* rows : batches) {
    for (const Row& row : *rows) {
      const size_t t = static_cast<size_t>(row.table);
      const Table& table = Tables::All()[t];
      sqlite3_stmt*& insert = inserts[t];
      if (insert == nullptr) {
        std::string sql = std::string("INSERT INTO ") + table.name + " VALUES (";
        for (size_t i = 0; i < table.columns.size(); ++i) sql += i == 0 ? "?" : ", ?";
        sql += ") ON CONFLICT DO NOTHING";
        if (sqlite3_prepare_v3(writer, sql.c_str(), -1, SQLITE_PREPARE_PERSISTENT, &insert, nullptr) !=
            SQLITE_OK) {
          error = Error(writer, sql);
          std::string ignored;
          Exec("ROLLBACK", ignored);
          return false;
        }
      }
      for (size_t i = 0; i < row.values.size(); ++i) {
        const Value& v = row.values[i];
        const int index = static_cast<int>(i + 1);
        if (!v) {
          sqlite3_bind_null(insert, index);
          continue;
        }
        // Numbers as numbers; text that is no number (never from a valid
        // batch) is left to the column's affinity.
        char* end = nullptr;
        const long long number =
            table.columns[i].type == ColumnType::Text ? 0 : std::strtoll(v->c_str(), &end, 10);
        if (end != nullptr && end != v->c_str() && *end == 0) {
          sqlite3_bind_int64(insert, index, number);
        } else {
          sqlite3_bind_text(insert, index, v->data(), static_cast<int>(v->size()), SQLITE_STATIC);
        }
      }
      // Every parameter is bound again for the next row.
      const int step = sqlite3_step(insert);
      sqlite3_reset(insert);
      if (step != SQLITE_DONE) {
        error = Error(writer, std::string("insert into ") + table.name);
        std::string ignored;
        Exec("ROLLBACK", ignored);
        return false;
      }
    }
  }
  if (Exec("COMMIT", error)) return true;
  std::string ignored;
  Exec("ROLLBACK", ignored);
  return false;
}

bool SqliteStore::Query(const std::string& sql, const std::vector<std::string>& params, QueryResult& result,
                        std::string& error) {
  std::lock_guard<std::mutex> hold(readerLock);
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v2(reader, sql.c_str(), -1, &statement, nullptr) != SQLITE_OK) {
    error = Error(reader, "query");
    return false;
  }
  for (size_t i = 0; i < params.size(); ++i) {
    sqlite3_bind_text(statement, static_cast<int>(i + 1), params[i].c_str(), -1, SQLITE_TRANSIENT);
  }
  result = QueryResult();
  const int columns = sqlite3_column_count(statement);
  for (int c = 0; c < columns; ++c) result.columns.push_back(sqlite3_column_name(statement, c));
  int step;
  while ((step = sqlite3_step(statement)) == SQLITE_ROW) {
    std::vector<Value> row;
    for (int c = 0; c < columns; ++c) {
      if (sqlite3_column_type(statement, c) == SQLITE_NULL) {
        row.emplace_back();
      } else {
        const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, c));
        row.emplace_back(std::string(text, static_cast<size_t>(sqlite3_column_bytes(statement, c))));
      }
    }
    result.rows.push_back(std::move(row));
  }
  sqlite3_finalize(statement);
  if (step != SQLITE_DONE) {
    error = Error(reader, "query");
    return false;
  }
  return true;
}

}  // namespace collector
}  // namespace qz
