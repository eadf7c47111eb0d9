#include "stores/Store.h"

#include "common/TimeText.h"
#include "stores/PostgresStore.h"
#include "stores/SqliteStore.h"
#include "summary/SummaryTables.h"

namespace qz {
namespace collector {

std::unique_ptr<Store> Store::Open(const std::string& sqlitePath, const std::string& postgres, bool create,
                                   std::string& error) {
  if (!postgres.empty()) return PostgresStore::Open(postgres, error);
  return SqliteStore::Open(sqlitePath, create, error);
}

bool Store::Expire(int64_t cutoffMs, size_t limit, int64_t& deleted, std::string& error) {
  const std::string n = std::to_string(limit);
  // The same oldest messages for every statement of the transaction.
  const std::string oldest =
      "(SELECT id FROM messages WHERE generated_ms < ? ORDER BY generated_ms, id LIMIT " + n + ")";
  std::vector<std::string> statements;
  for (const Table& t : Tables::All()) {
    if (std::string(t.columns[0].name) == "message_id") {
      statements.push_back(std::string("DELETE FROM ") + t.name + " WHERE message_id IN " + oldest);
    }
  }
  statements.push_back("DELETE FROM messages WHERE id IN " + oldest);
  if (!Modify(statements, std::to_string(cutoffMs), deleted, error)) return false;
  if (deleted > 0) return true;
  // The report's tables: the days and counted batches before the cutoff.
  const std::string cutoff = TimeText::FromMillis(cutoffMs);
  int64_t ignored = 0;
  if (!Modify(SummaryTables::ExpireByDay(), cutoff.substr(0, 10), ignored, error) ||
      !Modify({SummaryTables::ExpireClaims()}, cutoff, ignored, error)) {
    return false;
  }
  // Received times are texts of one fixed form, so they sort as times.
  return Modify({"DELETE FROM batches WHERE id IN (SELECT id FROM batches WHERE received < ? ORDER BY received, id "
                 "LIMIT " + n + ")"},
                TimeText::FromMillis(cutoffMs), deleted, error);
}

}  // namespace collector
}  // namespace qz
