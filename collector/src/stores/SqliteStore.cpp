#include "stores/SqliteStore.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "summary/SummaryWriter.h"

namespace qz {
namespace collector {

namespace {

// Waits of one connection for another's lock are bounded.
constexpr int kBusyTimeoutMs = 10000;

std::string Error(sqlite3* db, const std::string& what) {
  return what + ": " + (db != nullptr ? sqlite3_errmsg(db) : "out of memory");
}

// Failures that pass: another process holds the file, the disk is full or
// failing, memory ran out. Anything else is about the rows themselves.
bool Passing(int code) {
  switch (code & 0xFF) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
    case SQLITE_FULL:
    case SQLITE_IOERR:
    case SQLITE_NOMEM:
    case SQLITE_CANTOPEN:
    case SQLITE_PROTOCOL:
    case SQLITE_READONLY:
    case SQLITE_INTERRUPT:
      return true;
    default:
      return false;
  }
}

// The file exists, or is made now for its owner alone (SQLite gives its
// journal files the same mode): the database holds users' addresses.
bool Prepare(const std::string& path, bool create, std::string& error) {
  if (::access(path.c_str(), F_OK) == 0) return true;
  if (!create) {
    error = "no database at " + path + " (give --create to make one)";
    return false;
  }
  const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (fd < 0 && errno != EEXIST) {
    error = "cannot create " + path + ": " + std::strerror(errno);
    return false;
  }
  if (fd >= 0) ::close(fd);
  return true;
}

}  // namespace

SqliteStore::~SqliteStore() {
  summary.reset();
  for (sqlite3_stmt* s : inserts) sqlite3_finalize(s);
  for (sqlite3* r : readers) sqlite3_close(r);
  sqlite3_close(writer);
}

std::unique_ptr<SqliteStore> SqliteStore::Open(const std::string& path, bool create, std::string& error) {
  if (!Prepare(path, create, error)) return nullptr;
  std::unique_ptr<SqliteStore> store(new SqliteStore());
  const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX;
  if (sqlite3_open_v2(path.c_str(), &store->writer, flags, nullptr) != SQLITE_OK) {
    error = Error(store->writer, "cannot open " + path);
    return nullptr;
  }
  sqlite3_busy_timeout(store->writer, kBusyTimeoutMs);
  // WAL with FULL sync: a commit is one append and one sync of the log, so
  // a batch answered as stored survives a power cut; readers never block the
  // writer.
  // A cache that holds the trees being written to, rather than reading
  // their pages back from the file for every insert.
  if (!store->Exec("PRAGMA journal_mode=WAL", error) || !store->Exec("PRAGMA synchronous=FULL", error) ||
      !store->Exec("PRAGMA cache_size=-65536", error)) {
    return nullptr;
  }
  for (const std::string& sql : Tables::CreateStatements(false)) {
    if (!store->Exec(sql.c_str(), error)) return nullptr;
  }
  // Without statistics the planner takes the runs' unique key over the
  // index that covers the report's joins; a sampled ANALYZE is quick on any size.
  if (!store->Exec("PRAGMA analysis_limit=1000", error) || !store->Exec("ANALYZE report_runs", error)) return nullptr;
  store->path = path;
  sqlite3* reader = store->OpenReader(error);
  if (reader == nullptr) return nullptr;
  store->readers.push_back(reader);
  store->inserts.assign(Tables::All().size(), nullptr);
  store->summary = std::make_unique<SqliteSummaryDb>(store->writer);
  return store;
}

sqlite3* SqliteStore::OpenReader(std::string& error) {
  sqlite3* reader = nullptr;
  if (sqlite3_open_v2(path.c_str(), &reader, SQLITE_OPEN_READONLY | SQLITE_OPEN_NOMUTEX, nullptr) != SQLITE_OK) {
    error = Error(reader, "cannot open " + path + " for reading");
    sqlite3_close(reader);
    return nullptr;
  }
  sqlite3_busy_timeout(reader, kBusyTimeoutMs);
  // The report's summary pages stay in memory between reloads.
  sqlite3_exec(reader, "PRAGMA cache_size=-16384", nullptr, nullptr, nullptr);
  return reader;
}

bool SqliteStore::Exec(const char* sql, std::string& error) {
  char* message = nullptr;
  if (sqlite3_exec(writer, sql, nullptr, nullptr, &message) == SQLITE_OK) return true;
  error = std::string(sql) + ": " + (message != nullptr ? message : "failed");
  sqlite3_free(message);
  return false;
}

WriteStatus SqliteStore::Fail(int code, const std::string& what, std::string& error) {
  error = Error(writer, what);
  std::string ignored;
  if (!sqlite3_get_autocommit(writer)) Exec("ROLLBACK", ignored);
  return Passing(code) ? WriteStatus::Retry : WriteStatus::Refused;
}

WriteStatus SqliteStore::Write(const std::vector<const Rows*>& batches, std::string& error) {
  int code = sqlite3_exec(writer, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr);
  if (code != SQLITE_OK) return Fail(code, "begin", error);
  for (const Rows* rows : batches) {
    for (const Row& row : *rows) {
      const size_t t = static_cast<size_t>(row.table);
      const Table& table = Tables::All()[t];
      sqlite3_stmt*& insert = inserts[t];
      if (insert == nullptr) {
        std::string sql = std::string("INSERT INTO ") + table.name + " VALUES (";
        for (size_t i = 0; i < table.columns.size(); ++i) sql += i == 0 ? "?" : ", ?";
        sql += ") ON CONFLICT DO NOTHING";
        code = sqlite3_prepare_v3(writer, sql.c_str(), -1, SQLITE_PREPARE_PERSISTENT, &insert, nullptr);
        if (code != SQLITE_OK) return Fail(code, sql, error);
      }
      for (size_t i = 0; i < row.values.size(); ++i) {
        const Value& v = row.values[i];
        const int index = static_cast<int>(i + 1);
        if (!v) {
          sqlite3_bind_null(insert, index);
          continue;
        }
        // Signed numbers as numbers; unsigned 64-bit counts and texts as
        // text, so that no value is rounded on its way in.
        const ColumnType type = table.columns[i].type;
        char* end = nullptr;
        const long long number =
            type == ColumnType::Text || type == ColumnType::Count64 ? 0 : std::strtoll(v->c_str(), &end, 10);
        if (end != nullptr && end != v->c_str() && *end == 0) {
          sqlite3_bind_int64(insert, index, number);
        } else {
          sqlite3_bind_text(insert, index, v->data(), static_cast<int>(v->size()), SQLITE_STATIC);
        }
      }
      // Every parameter is bound again for the next row.
      code = sqlite3_step(insert);
      sqlite3_reset(insert);
      if (code != SQLITE_DONE) return Fail(code, std::string("insert into ") + table.name, error);
    }
  }
  std::vector<const Row*> all;
  for (const Rows* rows : batches) {
    for (const Row& row : *rows) all.push_back(&row);
  }
  if (!SummaryWriter::Update(*summary, all, error)) return Fail(sqlite3_errcode(writer), error, error);
  code = sqlite3_exec(writer, "COMMIT", nullptr, nullptr, nullptr);
  if (code != SQLITE_OK) return Fail(code, "commit", error);
  return WriteStatus::Stored;
}

bool SqliteStore::Modify(const std::vector<std::string>& statements, const std::string& param, int64_t& changed,
                         std::string& error) {
  if (!Exec("BEGIN IMMEDIATE", error)) return false;
  for (const std::string& sql : statements) {
    sqlite3_stmt* statement = nullptr;
    int code = sqlite3_prepare_v2(writer, sql.c_str(), -1, &statement, nullptr);
    if (code == SQLITE_OK) {
      for (int i = 1; i <= sqlite3_bind_parameter_count(statement); ++i) {
        sqlite3_bind_text(statement, i, param.data(), static_cast<int>(param.size()), SQLITE_STATIC);
      }
      code = sqlite3_step(statement);
    }
    sqlite3_finalize(statement);
    if (code != SQLITE_DONE && code != SQLITE_OK) {
      Fail(code, sql, error);
      return false;
    }
    changed = sqlite3_changes(writer);
  }
  return Exec("COMMIT", error) || (Fail(SQLITE_ERROR, "commit", error), false);
}

bool SqliteStore::Query(const std::string& sql, const std::vector<std::string>& params, QueryResult& result,
                        std::string& error) {
  sqlite3* reader = nullptr;
  {
    std::lock_guard<std::mutex> hold(readerLock);
    if (!readers.empty()) {
      reader = readers.back();
      readers.pop_back();
    }
  }
  if (reader == nullptr && (reader = OpenReader(error)) == nullptr) return false;
  const bool ok = Query(reader, sql, params, result, error);
  std::lock_guard<std::mutex> hold(readerLock);
  readers.push_back(reader);
  return ok;
}

bool SqliteStore::Query(sqlite3* reader, const std::string& sql, const std::vector<std::string>& params,
                        QueryResult& result, std::string& error) {
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v2(reader, sql.c_str(), -1, &statement, nullptr) != SQLITE_OK) {
    error = Error(reader, "query");
    sqlite3_finalize(statement);
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
