// Keeps the summary tables up to date from the rows of the batches being
// stored, inside the writer's transaction (so a 204 covers them too). Each
// message is counted once: only in a batch stored for the first time
// (report_batches), and only if that batch is the one that stored the
// message (the offline sender's new envelope of old messages stores
// nothing new).
#ifndef QZ_COLLECTOR_SUMMARYWRITER_H
#define QZ_COLLECTOR_SUMMARYWRITER_H

#include <string>
#include <vector>

#include "stores/Store.h"
#include "summary/SummaryDb.h"

namespace qz {
namespace collector {

class SummaryWriter {
 public:
  // Longest time in use a start/stop pair counts for; longer pairs (a stop
  // years after its start) count as this, and negative ones as 0.
  static constexpr int64_t kMaxDurationMs = 30LL * 86400000;

  // rows: every row of the batches just written, in any order.
  static bool Update(SummaryDb& db, const std::vector<const Row*>& rows, std::string& error);
};

}  // namespace collector
}  // namespace qz

#endif  // QZ_COLLECTOR_SUMMARYWRITER_H
