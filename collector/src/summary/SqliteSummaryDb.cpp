#include "summary/SqliteSummaryDb.h"

#include <cstdlib>

#include "summary/SummarySql.h"

namespace qz {
namespace collector {

SqliteSummaryDb::~SqliteSummaryDb() {
  for (auto& s : statements) sqlite3_finalize(s.second);
}

sqlite3_stmt* SqliteSummaryDb::Statement(const std::string& sql, std::string& error) {
  sqlite3_stmt*& s = statements[sql];
  if (s == nullptr && sqlite3_prepare_v3(db, sql.c_str(), -1, SQLITE_PREPARE_PERSISTENT, &s, nullptr) != SQLITE_OK) {
    error = sql + ": " + sqlite3_errmsg(db);
    statements.erase(sql);
    return nullptr;
  }
  return s;
}

bool SqliteSummaryDb::Insert(const SummaryTable& table, const std::string& sql, const SummaryRows& rows,
                             std::set<std::string>* claimed, std::string& error) {
  sqlite3_stmt* s = Statement(sql, error);
  if (s == nullptr) return false;
  for (const auto& row : rows) {
    for (size_t i = 0; i < row.size(); ++i) {
      const int at = static_cast<int>(i + 1);
      if (!row[i]) {
        sqlite3_bind_null(s, at);
      } else if (table.columns[i].type == ColumnType::Integer) {
        sqlite3_bind_int64(s, at, std::strtoll(row[i]->c_str(), nullptr, 10));
      } else {
        sqlite3_bind_text(s, at, row[i]->data(), static_cast<int>(row[i]->size()), SQLITE_STATIC);
      }
    }
    const int code = sqlite3_step(s);
    sqlite3_reset(s);
    if (code != SQLITE_DONE) {
      error = std::string("summary ") + table.name + ": " + sqlite3_errmsg(db);
      return false;
    }
    if (claimed != nullptr && sqlite3_changes(db) > 0 && row[0]) claimed->insert(*row[0]);
  }
  return true;
}

bool SqliteSummaryDb::Upsert(const SummaryTable& table, const SummaryRows& rows, std::string& error) {
  return Insert(table, SummarySql::Insert(table, SummarySql::Placeholders(table), false), rows, nullptr, error);
}

bool SqliteSummaryDb::Claim(const SummaryTable& table, const SummaryRows& rows, std::set<std::string>& claimed,
                            std::string& error) {
  return Insert(table, SummarySql::Insert(table, SummarySql::Placeholders(table), false), rows, &claimed, error);
}

bool SqliteSummaryDb::Select(const char* table, const char* key, const std::vector<std::string>& columns,
                             const std::vector<std::string>& keys, std::map<std::string, std::vector<std::string>>& found,
                             std::string& error) {
  std::string list;
  for (const std::string& c : columns) list += (list.empty() ? "" : ", ") + c;
  sqlite3_stmt* s = Statement("SELECT " + list + " FROM " + table + " WHERE " + key + " = ?", error);
  if (s == nullptr) return false;
  for (const std::string& k : keys) {
    sqlite3_bind_text(s, 1, k.data(), static_cast<int>(k.size()), SQLITE_STATIC);
    const int code = sqlite3_step(s);
    if (code == SQLITE_ROW) {
      std::vector<std::string>& row = found[k];
      for (int c = 0; c < static_cast<int>(columns.size()); ++c) {
        const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(s, c));
        row.emplace_back(text != nullptr ? std::string(text, static_cast<size_t>(sqlite3_column_bytes(s, c))) : "");
      }
    }
    sqlite3_reset(s);
    if (code != SQLITE_ROW && code != SQLITE_DONE) {
      error = std::string("summary lookup in ") + table + ": " + sqlite3_errmsg(db);
      return false;
    }
  }
  return true;
}

}  // namespace collector
}  // namespace qz
