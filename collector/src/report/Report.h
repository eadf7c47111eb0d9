// The figures a product team asks for, per company and application, for a
// version (or all) and a range of days, read from the summary tables that
// the writer keeps: people and installs, sessions, versions and systems in
// use (overview); feature adoption, uses and time in use (features); faults
// per version and the top exception types (stability); probes over time
// (performance); the machines' latest profiles (machines). The same SQL
// serves SQLite and PostgreSQL. Identities show as "user 17", "host 4":
// numbered in the order first seen, stable across views and reloads.
#ifndef QZ_COLLECTOR_REPORT_H
#define QZ_COLLECTOR_REPORT_H

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "report/ReportFilter.h"
#include "stores/Store.h"

namespace qz {
namespace collector {

struct Report {
  struct App {
    std::string company, application, companyName, applicationName;
  };
  struct Day {
    std::string day;  // YYYY-MM-DD (UTC)
    int64_t users = 0, installs = 0, sessions = 0, newInstalls = 0, messages = 0;
  };
  struct Share {
    std::string label;
    int64_t count = 0;
  };
  struct Feature {
    std::string name;
    int64_t users = 0, ticks = 0, starts = 0;
    int64_t pairs = 0, clamped = 0;                 // timed start/stop pairs; clamped: beyond the bounds
    int64_t medianMs = 0, p90Ms = 0;                // of the pairs
    double totalMs = 0;                             // summed in floating point: never overflows
    int64_t Uses() const { return ticks + starts; }
  };
  struct VersionFaults {
    std::string version;
    int64_t sessions = 0, faults = 0, uncaught = 0;
  };
  struct ExceptionType {
    std::string type;
    int64_t faults = 0, uncaught = 0;
    std::string message, stack, generated, version;  // of the latest one
    std::string user, host;                          // labels of the latest one's run; empty: unknown
  };
  struct Stat {
    int64_t count = 0, median = 0, p90 = 0;
  };
  struct ProbeDay {
    std::string name, day;
    int64_t probes = 0;
    Stat memory;               // used MB
    std::optional<Stat> cpu;   // percent; absent when never measured
  };
  struct Distribution {
    std::string title;
    std::vector<Share> shares;
  };

  ReportFilter filter;  // as resolved: company, application and range filled in
  std::string storeKind;
  std::vector<App> apps;  // everything stored, for navigation
  std::vector<std::string> versions;  // of the application
  bool known = false;     // the application has data at all

  // overview
  std::vector<Day> days;  // every day of the range
  int64_t users = 0, installs = 0, sessions = 0, messages = 0, newInstalls = 0;
  std::vector<Share> versionsInUse;  // sessions per version
  std::vector<Share> systemsInUse;   // installs per operating system
  // features
  std::vector<Feature> features;
  // stability
  std::vector<VersionFaults> faultsByVersion;
  std::vector<ExceptionType> exceptionTypes;  // the most frequent first
  int64_t faults = 0, uncaught = 0;
  // performance
  std::vector<ProbeDay> probes;
  // machines
  int64_t profiledHosts = 0;
  std::vector<Distribution> machines;
  // "user 17" and "host 4", by hash
  std::map<std::string, std::string> labels;

  // Loads the views the filter names (every view for "all"). today: for the
  // default range.
  static bool Load(Store& store, const ReportFilter& filter, const std::string& today, Report& report,
                   std::string& error);
  // The p-th percentile (nearest rank) of sorted values.
  static int64_t Percentile(const std::vector<int64_t>& sorted, int p);
  bool Shows(const std::string& view) const { return filter.view == "all" || filter.view == view; }
};

}  // namespace collector
}  // namespace qz

#endif  // QZ_COLLECTOR_REPORT_H
