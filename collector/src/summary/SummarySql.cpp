#include "summary/SummarySql.h"

namespace qz {
namespace collector {

std::string SummarySql::Placeholders(const SummaryTable& table) {
  std::string out = "VALUES (";
  for (size_t i = 0; i < table.columns.size(); ++i) out += i == 0 ? "?" : ", ?";
  return out + ")";
}

std::string SummarySql::Insert(const SummaryTable& table, const std::string& source, bool returning) {
  std::string key;
  for (size_t i = 0; i < table.keyColumns; ++i) key += (i > 0 ? ", " : "") + std::string(table.columns[i].name);
  std::string sql = std::string("INSERT INTO ") + table.name + " " + source + " ON CONFLICT (" + key + ") DO ";
  if (table.merge == Merge::Keep || returning) {
    sql += "NOTHING";
  } else {
    sql += "UPDATE SET ";
    for (size_t i = table.keyColumns; i < table.columns.size(); ++i) {
      const std::string c = table.columns[i].name;
      if (i > table.keyColumns) sql += ", ";
      sql += c + " = " + (table.merge == Merge::Add ? std::string(table.name) + "." + c + " + " : "") + "excluded." + c;
    }
  }
  if (returning) sql += std::string(" RETURNING ") + table.columns[0].name;
  return sql;
}

}  // namespace collector
}  // namespace qz
