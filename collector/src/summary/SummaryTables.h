// Tables the report reads instead of the messages: kept up to date by the
// writer in the transaction that stores the batches, so that a report over
// a million messages reads thousands of rows. Rows keyed by a message id,
// a run or a day are sets, written once; the two tables of counters
// (messages, sessions and feature uses per day) count only messages that a
// batch stored for the first time.
#ifndef QZ_COLLECTOR_SUMMARYTABLES_H
#define QZ_COLLECTOR_SUMMARYTABLES_H

#include <string>
#include <vector>

#include "stores/Tables.h"

namespace qz {
namespace collector {

// What a row does to a stored row with its key.
enum class Merge {
  Keep,     // nothing: the first one stays
  Add,      // its numbers are added to the stored ones
  Replace,  // its values replace the stored ones
};

struct SummaryTable {
  const char* name;
  std::vector<Column> columns;  // Text or Integer
  size_t keyColumns;            // the first ones
  Merge merge;
};

enum class SummaryId {
  Batches,       // batches whose messages were counted
  Apps,          // company and application names
  Runs,          // a run (message group): its user, host and operating system
  RunDays,       // the days on which a run sent messages
  Daily,         // messages and sessions per day (counters)
  FeatureDays,   // feature ticks and starts per day (counters)
  FeatureRuns,   // the runs that used a feature on a day
  Durations,     // start/stop pairs: time in use
  Faults,        // faults with their first exception and its stack
  Probes,        // performance probes
  Profiles,      // system profiles: the facts the report shows
  OpenStops,     // stops stored before their start (a run's batches out of order)
};

class SummaryTables {
 public:
  static const std::vector<SummaryTable>& All();
  static const SummaryTable& Get(SummaryId id) { return All()[static_cast<size_t>(id)]; }
  static std::vector<std::string> CreateStatements();
  // Deletes what is about days before the one given ("YYYY-MM-DD") as
  // each statement's one parameter.
  static std::vector<std::string> ExpireByDay();
  // Forgets the counted batches received before the time text given.
  static std::string ExpireClaims();
};

}  // namespace collector
}  // namespace qz

#endif  // QZ_COLLECTOR_SUMMARYTABLES_H
