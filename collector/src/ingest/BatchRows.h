// Turns a validated batch into the rows of the tables it fills. GUIDs are
// stored in upper case, so the same id in another case is the same row.
#ifndef QZ_COLLECTOR_BATCHROWS_H
#define QZ_COLLECTOR_BATCHROWS_H

#include "ingest/Batch.h"
#include "stores/Store.h"

namespace qz {
namespace collector {

class BatchRows {
 public:
  static Rows Build(const Batch& batch);
};

}  // namespace collector
}  // namespace qz

#endif  // QZ_COLLECTOR_BATCHROWS_H
