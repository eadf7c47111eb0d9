#include "stores/Store.h"

#include "stores/PostgresStore.h"
#include "stores/SqliteStore.h"

namespace qz {
namespace collector {

std::unique_ptr<Store> Store::Open(const std::string& sqlitePath, const std::string& postgres,
                                   std::string& error) {
  if (!postgres.empty()) return PostgresStore::Open(postgres, error);
  return SqliteStore::Open(sqlitePath, error);
}

}  // namespace collector
}  // namespace qz
