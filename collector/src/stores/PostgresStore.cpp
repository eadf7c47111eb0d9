#include "stores/PostgresStore.h"

#include <algorithm>
#include <chrono>
#include <memory>
#include <thread>

#include "summary/PostgresSummaryDb.h"
#include "summary/SummaryWriter.h"

namespace qz {
namespace collector {

namespace {

// Serialises the schema set-up of collectors that start together.
constexpr char kSchemaLock[] = "SELECT pg_advisory_lock(727172)";
constexpr char kSchemaUnlock[] = "SELECT pg_advisory_unlock(727172)";
// Deadlocks and serialization failures pass; a few tries are enough.
constexpr int kWriteTries = 4;

using Result = std::unique_ptr<PGresult, void (*)(PGresult*)>;

void IgnoreNotice(void*, const char*) {}

// libpq's messages span lines (ERROR, DETAIL, ...): one line for the log.
std::string Trimmed(const char* text) {
  std::string s = text != nullptr ? text : "";
  while (!s.empty() && (s.back() == '\n' || s.back() == ' ')) s.pop_back();
  for (size_t at = s.find('\n'); at != std::string::npos; at = s.find('\n', at)) s.replace(at, 1, "; ");
  return s;
}

std::string SqlState(const PGresult* result) {
  const char* state = result != nullptr ? PQresultErrorField(result, PG_DIAG_SQLSTATE) : nullptr;
  return state != nullptr ? state : "";
}

// Data exceptions (22), integrity violations (23) and statements the server
// cannot run (42): the rows or the schema are at fault, and trying again
// will not help. Everything else (connection, resources, deadlock, shutdown)
// may pass.
bool Permanent(const std::string& state) {
  return state.compare(0, 2, "22") == 0 || state.compare(0, 2, "23") == 0 || state.compare(0, 2, "42") == 0;
}

bool TryAgain(const std::string& state) { return state == "40P01" || state == "40001"; }

PGconn* Connect(const std::string& connection, std::string& error) {
  // Bounded connect; the caller's string may set its own time-out, which wins.
  const char* keys[] = {"connect_timeout", "dbname", nullptr};
  const char* values[] = {"10", connection.c_str(), nullptr};
  PGconn* conn = PQconnectdbParams(keys, values, 1);
  if (conn == nullptr || PQstatus(conn) != CONNECTION_OK) {
    error = "cannot connect to PostgreSQL: " + Trimmed(conn != nullptr ? PQerrorMessage(conn) : "out of memory");
    PQfinish(conn);
    return nullptr;
  }
  PQsetNoticeProcessor(conn, IgnoreNotice, nullptr);
  return conn;
}

bool Exec(PGconn* conn, const std::string& sql, std::string& error, std::string* sqlState = nullptr) {
  Result result(PQexec(conn, sql.c_str()), PQclear);
  const ExecStatusType status = result ? PQresultStatus(result.get()) : PGRES_FATAL_ERROR;
  if (status == PGRES_COMMAND_OK || status == PGRES_TUPLES_OK) return true;
  error = Trimmed(PQerrorMessage(conn));
  if (sqlState != nullptr) *sqlState = SqlState(result.get());
  return false;
}

// An element of an array literal and its comma: NULL, or the text quoted
// with its quotes and backslashes escaped.
void AppendArrayElement(std::string& array, const Value& value) {
  if (!value) {
    array += "NULL,";
    return;
  }
  array += '"';
  for (char c : *value) {
    if (c == '"' || c == '\\') array += '\\';
    array += c;
  }
  array += "\",";
}

// Every session: bounded statements, and commits that wait for the sync to
// disk whatever the server's default, since a batch is answered as stored
// only after its commit.
bool Prepare(PGconn* conn, std::string& error) {
  return Exec(conn, "SET statement_timeout = 30000", error) &&
         Exec(conn, "SET client_min_messages = warning", error) &&
         Exec(conn, "SET synchronous_commit = on", error);
}

const char* ArrayType(ColumnType type) {
  switch (type) {
    case ColumnType::Text:
      return "::text[]";
    case ColumnType::Count64:
      return "::numeric[]";
    default:
      return "::bigint[]";
  }
}

// Keys in one order for every collector: the key columns' texts (a row
// without its key, which the server refuses, first).
bool KeyLess(const Row* a, const Row* b, size_t keyColumns) {
  for (size_t c = 0; c < keyColumns; ++c) {
    if (!a->values[c] || !b->values[c]) {
      if (!a->values[c] != !b->values[c]) return !a->values[c];
      continue;
    }
    const std::string& x = *a->values[c];
    const std::string& y = *b->values[c];
    if (x != y) {
      // Positions are numbers: shorter first, then by digits.
      if (x.size() != y.size() && Tables::Get(a->table).columns[c].type != ColumnType::Text) {
        return x.size() < y.size();
      }
      return x < y;
    }
  }
  return false;
}

}  // namespace

PostgresStore::~PostgresStore() {
  PQfinish(reader);
  PQfinish(writer);
}

std::unique_ptr<PostgresStore> PostgresStore::Open(const std::string& connection, std::string& error) {
  std::unique_ptr<PostgresStore> store(new PostgresStore());
  store->connection = connection;
  store->writer = Connect(connection, error);
  if (store->writer == nullptr || !Prepare(store->writer, error)) return nullptr;
  if (!Exec(store->writer, kSchemaLock, error)) return nullptr;
  bool created = true;
  for (const std::string& sql : Tables::CreateStatements(true)) {
    if (!Exec(store->writer, sql, error)) {
      created = false;
      break;
    }
  }
  std::string ignored;
  Exec(store->writer, kSchemaUnlock, ignored);
  if (!created) return nullptr;
  store->reader = Connect(connection, error);
  if (store->reader == nullptr || !Prepare(store->reader, error)) return nullptr;
  return store;
}

bool PostgresStore::Reconnect() {
  PQreset(writer);
  prepared = false;  // statements belong to the old session
  std::string ignored;
  return PQstatus(writer) == CONNECTION_OK && Prepare(writer, ignored);
}

WriteStatus PostgresStore::Write(const std::vector<const Rows*>& batches, std::string& error) {
  std::vector<std::vector<const Row*>> byTable(Tables::All().size());
  for (const Rows* rows : batches) {
    for (const Row& row : *rows) byTable[static_cast<size_t>(row.table)].push_back(&row);
  }
  for (size_t t = 0; t < byTable.size(); ++t) {
    const size_t keys = Tables::All()[t].keyColumns;
    std::sort(byTable[t].begin(), byTable[t].end(), [keys](const Row* a, const Row* b) { return KeyLess(a, b, keys); });
  }
  std::string state;
  for (int attempt = 1;; ++attempt) {
    if (WriteOnce(byTable, state, error)) return WriteStatus::Stored;
    if (PQstatus(writer) != CONNECTION_OK) {
      // The server went away: one new connection, one more try.
      if (attempt > 1 || !Reconnect()) return WriteStatus::Retry;
      continue;
    }
    if (Permanent(state)) return WriteStatus::Refused;
    if (!TryAgain(state) || attempt >= kWriteTries) return WriteStatus::Retry;
    std::this_thread::sleep_for(std::chrono::milliseconds(10 * attempt));
  }
}

bool PostgresStore::PrepareInserts(std::string& error) {
  // One statement per table, parsed once: each column's values arrive as one
  // array, and unnest turns the arrays back into rows, in the arrays' order.
  for (const Table& table : Tables::All()) {
    std::string sql = std::string("INSERT INTO ") + table.name + " SELECT * FROM unnest(";
    for (size_t c = 0; c < table.columns.size(); ++c) {
      sql += (c == 0 ? "$" : ", $") + std::to_string(c + 1) + ArrayType(table.columns[c].type);
    }
    sql += ") ON CONFLICT DO NOTHING";
    Result result(PQprepare(writer, (std::string("insert_") + table.name).c_str(), sql.c_str(), 0, nullptr), PQclear);
    if (!result || PQresultStatus(result.get()) != PGRES_COMMAND_OK) {
      error = std::string("prepare insert into ") + table.name + ": " + Trimmed(PQerrorMessage(writer));
      return false;
    }
  }
  prepared = true;
  return true;
}

bool PostgresStore::WriteOnce(const std::vector<std::vector<const Row*>>& byTable, std::string& sqlState,
                              std::string& error) {
  sqlState.clear();
  if (!prepared && !PrepareInserts(error)) return false;
  if (!Exec(writer, "BEGIN", error, &sqlState)) return false;
  std::string ignored;
  // Tables in schema order, each in one round trip however many rows it has.
  for (size_t t = 0; t < byTable.size(); ++t) {
    if (byTable[t].empty()) continue;
    const Table& table = Tables::All()[t];
    std::vector<std::string> arrays(table.columns.size(), "{");
    for (const Row* row : byTable[t]) {
      for (size_t c = 0; c < arrays.size(); ++c) AppendArrayElement(arrays[c], row->values[c]);
    }
    std::vector<const char*> params;
    for (std::string& a : arrays) {
      a.back() = '}';  // the last element's comma
      params.push_back(a.c_str());
    }
    Result result(PQexecPrepared(writer, (std::string("insert_") + table.name).c_str(),
                                 static_cast<int>(params.size()), params.data(), nullptr, nullptr, 0),
                  PQclear);
    if (!result || PQresultStatus(result.get()) != PGRES_COMMAND_OK) {
      error = std::string("insert into ") + table.name + ": " + Trimmed(PQerrorMessage(writer));
      sqlState = SqlState(result.get());
      Exec(writer, "ROLLBACK", ignored);
      return false;
    }
  }
  std::vector<const Row*> all;
  for (const auto& rows : byTable) all.insert(all.end(), rows.begin(), rows.end());
  PostgresSummaryDb summary(writer);
  if (!SummaryWriter::Update(summary, all, error)) {
    sqlState = summary.SqlState();
    Exec(writer, "ROLLBACK", ignored);
    return false;
  }
  if (Exec(writer, "COMMIT", error, &sqlState)) return true;
  Exec(writer, "ROLLBACK", ignored);
  return false;
}

bool PostgresStore::Modify(const std::vector<std::string>& statements, const std::string& param, int64_t& changed,
                           std::string& error) {
  std::string ignored;
  if (PQstatus(writer) != CONNECTION_OK && !Reconnect()) {
    error = "PostgreSQL connection lost";
    return false;
  }
  if (!Exec(writer, "BEGIN", error)) return false;
  for (const std::string& sql : statements) {
    std::string text;
    int n = 0;
    for (char c : sql) text += c == '?' ? "$" + std::to_string(++n) : std::string(1, c);
    std::vector<const char*> values(static_cast<size_t>(n), param.c_str());
    Result r(PQexecParams(writer, text.c_str(), n, nullptr, values.data(), nullptr, nullptr, 0), PQclear);
    if (!r || PQresultStatus(r.get()) != PGRES_COMMAND_OK) {
      error = Trimmed(PQerrorMessage(writer));
      Exec(writer, "ROLLBACK", ignored);
      return false;
    }
    changed = std::atoll(PQcmdTuples(r.get()));
  }
  if (Exec(writer, "COMMIT", error)) return true;
  Exec(writer, "ROLLBACK", ignored);
  return false;
}

bool PostgresStore::Query(const std::string& sql, const std::vector<std::string>& params, QueryResult& result,
                          std::string& error) {
  // "?" placeholders become "$1", "$2", ...; the report's SQL has no "?" in literals.
  std::string text;
  int n = 0;
  for (char c : sql) {
    if (c == '?') {
      text += "$" + std::to_string(++n);
    } else {
      text += c;
    }
  }
  std::vector<const char*> values;
  for (const std::string& p : params) values.push_back(p.c_str());

  std::lock_guard<std::mutex> hold(readerLock);
  for (int attempt = 0; attempt < 2; ++attempt) {
    std::unique_ptr<PGresult, void (*)(PGresult*)> r(
        PQexecParams(reader, text.c_str(), static_cast<int>(values.size()), nullptr, values.data(), nullptr,
                     nullptr, 0),
        PQclear);
    if (r && PQresultStatus(r.get()) == PGRES_TUPLES_OK) {
      result = QueryResult();
      const int columns = PQnfields(r.get());
      for (int c = 0; c < columns; ++c) result.columns.push_back(PQfname(r.get(), c));
      for (int i = 0; i < PQntuples(r.get()); ++i) {
        std::vector<Value> row;
        for (int c = 0; c < columns; ++c) {
          if (PQgetisnull(r.get(), i, c)) {
            row.emplace_back();
          } else {
            row.emplace_back(std::string(PQgetvalue(r.get(), i, c), static_cast<size_t>(PQgetlength(r.get(), i, c))));
          }
        }
        result.rows.push_back(std::move(row));
      }
      return true;
    }
    error = Trimmed(PQerrorMessage(reader));
    if (PQstatus(reader) == CONNECTION_OK) return false;
    PQreset(reader);
    std::string ignored;
    if (PQstatus(reader) != CONNECTION_OK || !Prepare(reader, ignored)) return false;
  }
  return false;
}

}  // namespace collector
}  // namespace qz
