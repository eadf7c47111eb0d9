#include "stores/PostgresStore.h"

#include <memory>

namespace qz {
namespace collector {

namespace {

// Serialises the schema set-up of collectors that start together.
constexpr char kSchemaLock[] = "SELECT pg_advisory_lock(727172)";
constexpr char kSchemaUnlock[] = "SELECT pg_advisory_unlock(727172)";

void IgnoreNotice(void*, const char*) {}

// libpq's messages span lines (ERROR, DETAIL, ...): one line for the log.
std::string Trimmed(const char* text) {
  std::string s = text != nullptr ? text : "";
  while (!s.empty() && (s.back() == '\n' || s.back() == ' ')) s.pop_back();
  for (size_t at = s.find('\n'); at != std::string::npos; at = s.find('\n', at)) s.replace(at, 1, "; ");
  return s;
}

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

bool Exec(PGconn* conn, const std::string& sql, std::string& error) {
  std::unique_ptr<PGresult, void (*)(PGresult*)> result(PQexec(conn, sql.c_str()), PQclear);
  const ExecStatusType status = result ? PQresultStatus(result.get()) : PGRES_FATAL_ERROR;
  if (status == PGRES_COMMAND_OK || status == PGRES_TUPLES_OK) return true;
  error = Trimmed(PQerrorMessage(conn));
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

bool Prepare(PGconn* conn, std::string& error) {
  return Exec(conn, "SET statement_timeout = 30000", error) &&
         Exec(conn, "SET client_min_messages = warning", error);
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
  for (const std::string& sql : Tables::CreateStatements()) {
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

bool PostgresStore::Write(const std::vector<const Rows*>& batches, std::string& error) {
  if (WriteOnce(batches, error)) return true;
  if (PQstatus(writer) == CONNECTION_OK) return false;
  // The server went away: one new connection, one more try.
  PQreset(writer);
  prepared = false;  // statements belong to the old session
  std::string ignored;
  if (PQstatus(writer) != CONNECTION_OK || !Prepare(writer, ignored)) return false;
  return WriteOnce(batches, error);
}

bool PostgresStore::PrepareInserts(std::string& error) {
  // One statement per table, parsed once: each column's values arrive as one
  // array, and unnest turns the arrays back into rows.
  for (const Table& table : Tables::All()) {
    std::string sql = std::string("INSERT INTO ") + table.name + " SELECT * FROM unnest(";
    for (size_t c = 0; c < table.columns.size(); ++c) {
      sql += (c == 0 ? "$" : ", $") + std::to_string(c + 1) +
             (table.columns[c].type == ColumnType::Text ? "::text[]" : "::bigint[]");
    }
    sql += ") ON CONFLICT DO NOTHING";
    std::unique_ptr<PGresult, void (*)(PGresult*)> result(
        PQprepare(writer, (std::string("insert_") + table.name).c_str(), sql.c_str(), 0, nullptr), PQclear);
    if (!result || PQresultStatus(result.get()) != PGRES_COMMAND_OK) {
      error = std::string("prepare insert into ") + table.name + ": " + Trimmed(PQerrorMessage(writer));
      return false;
    }
  }
  prepared = true;
  return true;
}

bool PostgresStore::WriteOnce(const std::vector<const Rows*>& batches, std::string& error) {
  if (!prepared && !PrepareInserts(error)) return false;
  std::vector<std::vector<const Row*>> byTable(Tables::All().size());
  for (const Rows* rows : batches) {
    for (const Row& row : *rows) byTable[static_cast<size_t>(row.table)].push_back(&row);
  }
  if (!Exec(writer, "BEGIN", error)) return false;
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
    std::unique_ptr<PGresult, void (*)(PGresult*)> result(
        PQexecPrepared(writer, (std::string("insert_") + table.name).c_str(), static_cast<int>(params.size()),
                       params.data(), nullptr, nullptr, 0),
        PQclear);
    if (!result || PQresultStatus(result.get()) != PGRES_COMMAND_OK) {
      error = std::string("insert into ") + table.name + ": " + Trimmed(PQerrorMessage(writer));
      Exec(writer, "ROLLBACK", ignored);
      return false;
    }
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
