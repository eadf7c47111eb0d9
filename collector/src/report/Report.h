// What the stored batches say about the applications' use: features by use
// count and by time in use, sessions per day, faults by type, probes over
// time and the latest system profile of each host. The same SQL serves
// SQLite and PostgreSQL.
#ifndef QZ_COLLECTOR_REPORT_H
#define QZ_COLLECTOR_REPORT_H

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "stores/Store.h"

namespace qz {
namespace collector {

struct Report {
  struct FeatureUse {
    std::string name;
    int64_t uses = 0;  // ticks plus starts
    int64_t ticks = 0;
    int64_t starts = 0;
  };
  struct FeatureTime {
    std::string name;
    int64_t pairs = 0;    // starts with their stops
    int64_t totalMs = 0;  // summed time between them
  };
  struct Day {
    std::string day;  // YYYY-MM-DD (UTC)
    int64_t sessions = 0;
  };
  struct FaultType {
    std::string type;
    int64_t faults = 0;
    int64_t uncaught = 0;
  };
  struct ProbeHour {
    std::string hour;  // YYYY-MM-DDTHH (UTC)
    std::string name;
    int64_t probes = 0;
    Value usedMB, availableMB, cpuPercent;  // averages; cpu absent when never measured
  };
  struct Profile {
    std::string host;  // host name (a digest) or address from the run's app-start; empty if unknown
    std::string id;
    std::string generated;
    // One line per fact: ("cpu", "name=CPU0 speed=2400"), ...
    std::vector<std::pair<std::string, std::string>> lines;
  };

  std::string storeKind;
  int64_t batches = 0;
  int64_t messages = 0;
  std::vector<FeatureUse> featuresByUse;
  std::vector<FeatureTime> featuresByTime;
  std::vector<Day> sessionsPerDay;
  std::vector<FaultType> faultsByType;
  std::vector<ProbeHour> probes;
  std::vector<Profile> latestProfiles;

  static bool Load(Store& store, Report& report, std::string& error);
};

}  // namespace collector
}  // namespace qz

#endif  // QZ_COLLECTOR_REPORT_H
