#include "summary/PostgresSummaryDb.h"

#include <memory>

#include "summary/SummarySql.h"

namespace qz {
namespace collector {

namespace {

// An array literal of texts: NULL, or quoted with quotes and backslashes escaped.
std::string ArrayOf(const SummaryRows& rows, size_t column) {
  std::string out = "{";
  for (const auto& row : rows) {
    if (out.size() > 1) out += ',';
    if (!row[column]) {
      out += "NULL";
      continue;
    }
    out += '"';
    for (char c : *row[column]) {
      if (c == '"' || c == '\\') out += '\\';
      out += c;
    }
    out += '"';
  }
  return out + "}";
}

}  // namespace

bool PostgresSummaryDb::Run(const std::string& sql, const std::vector<std::string>& params,
                            std::vector<std::vector<std::string>>* out, std::string& error) {
  std::vector<const char*> values;
  for (const std::string& p : params) values.push_back(p.c_str());
  std::unique_ptr<PGresult, void (*)(PGresult*)> r(
      PQexecParams(db, sql.c_str(), static_cast<int>(values.size()), nullptr, values.data(), nullptr, nullptr, 0),
      PQclear);
  const ExecStatusType status = r ? PQresultStatus(r.get()) : PGRES_FATAL_ERROR;
  if (status != PGRES_COMMAND_OK && status != PGRES_TUPLES_OK) {
    const char* state = r ? PQresultErrorField(r.get(), PG_DIAG_SQLSTATE) : nullptr;
    sqlState = state != nullptr ? state : "";
    error = "summary: " + std::string(PQerrorMessage(db));
    while (!error.empty() && (error.back() == '\n' || error.back() == ' ')) error.pop_back();
    return false;
  }
  if (out != nullptr) {
    for (int i = 0; i < PQntuples(r.get()); ++i) {
      std::vector<std::string> row;
      for (int c = 0; c < PQnfields(r.get()); ++c) row.emplace_back(PQgetvalue(r.get(), i, c));
      out->push_back(std::move(row));
    }
  }
  return true;
}

bool PostgresSummaryDb::Insert(const SummaryTable& table, const SummaryRows& rows, bool returning,
                               std::vector<std::vector<std::string>>* out, std::string& error) {
  std::string source = "SELECT * FROM unnest(";
  std::vector<std::string> params;
  for (size_t c = 0; c < table.columns.size(); ++c) {
    source += (c == 0 ? "$" : ", $") + std::to_string(c + 1) +
              (table.columns[c].type == ColumnType::Integer ? "::bigint[]" : "::text[]");
    params.push_back(ArrayOf(rows, c));
  }
  source += ")";
  return Run(SummarySql::Insert(table, source, returning), params, out, error);
}

bool PostgresSummaryDb::Upsert(const SummaryTable& table, const SummaryRows& rows, std::string& error) {
  return Insert(table, rows, false, nullptr, error);
}

bool PostgresSummaryDb::Claim(const SummaryTable& table, const SummaryRows& rows, std::set<std::string>& claimed,
                              std::string& error) {
  std::vector<std::vector<std::string>> out;
  if (!Insert(table, rows, true, &out, error)) return false;
  for (const auto& r : out) claimed.insert(r[0]);
  return true;
}

bool PostgresSummaryDb::Select(const char* table, const char* key, const std::vector<std::string>& columns,
                               const std::vector<std::string>& keys,
                               std::map<std::string, std::vector<std::string>>& found, std::string& error) {
  SummaryRows rows;
  for (const std::string& k : keys) rows.push_back({Value(k)});
  std::string sql = std::string("SELECT ") + key;
  for (const std::string& c : columns) sql += ", COALESCE(" + c + "::text, '')";
  sql += std::string(" FROM ") + table + " WHERE " + key + " = ANY($1::text[])";
  std::vector<std::vector<std::string>> out;
  if (!Run(sql, {ArrayOf(rows, 0)}, &out, error)) return false;
  for (auto& r : out) found[r[0]].assign(r.begin() + 1, r.end());
  return true;
}

}  // namespace collector
}  // namespace qz
