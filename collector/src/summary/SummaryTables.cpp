#include "summary/SummaryTables.h"

namespace qz {
namespace collector {

namespace {

constexpr ColumnType T = ColumnType::Text;
constexpr ColumnType I = ColumnType::Integer;

std::vector<SummaryTable> MakeTables() {
  // Order matches SummaryId. Keys begin with company and application, then
  // the day, which is what every report filters by.
  return {
      {"report_batches", {{"id", T, nullptr}, {"received", T, nullptr}}, 1, Merge::Keep},
      {"report_apps",
       {{"company_id", T, nullptr},
        {"application_id", T, nullptr},
        {"company_name", T, nullptr},
        {"application_name", T, nullptr}},
       2, Merge::Replace},
      {"report_runs",
       {{"message_group", T, nullptr},
        {"user_hash", T, nullptr},
        {"host_hash", T, nullptr},
        {"os", T, nullptr},
        {"started_ms", I, nullptr}},
       1, Merge::Keep},
      {"report_run_days",
       {{"company_id", T, nullptr},
        {"application_id", T, nullptr},
        {"day", T, nullptr},
        {"version", T, nullptr},
        {"message_group", T, nullptr}},
       5, Merge::Keep},
      {"report_daily",
       {{"company_id", T, nullptr},
        {"application_id", T, nullptr},
        {"day", T, nullptr},
        {"version", T, nullptr},
        {"messages", I, nullptr},
        {"sessions", I, nullptr}},
       4, Merge::Add},
      {"report_feature_days",
       {{"company_id", T, nullptr},
        {"application_id", T, nullptr},
        {"day", T, nullptr},
        {"version", T, nullptr},
        {"name", T, nullptr},
        {"ticks", I, nullptr},
        {"starts", I, nullptr}},
       5, Merge::Add},
      {"report_feature_runs",
       {{"company_id", T, nullptr},
        {"application_id", T, nullptr},
        {"day", T, nullptr},
        {"version", T, nullptr},
        {"name", T, nullptr},
        {"message_group", T, nullptr}},
       6, Merge::Keep},
      {"report_durations",
       {{"message_id", T, nullptr},
        {"company_id", T, nullptr},
        {"application_id", T, nullptr},
        {"day", T, nullptr},
        {"version", T, nullptr},
        {"name", T, nullptr},
        {"ms", I, nullptr},
        {"clamped", I, nullptr}},
       1, Merge::Keep},
      {"report_faults",
       {{"message_id", T, nullptr},
        {"company_id", T, nullptr},
        {"application_id", T, nullptr},
        {"day", T, nullptr},
        {"version", T, nullptr},
        {"generated_ms", I, nullptr},
        {"message_group", T, nullptr},
        {"uncaught", I, nullptr},
        {"type", T, nullptr},
        {"message", T, nullptr},
        {"stack", T, nullptr}},
       1, Merge::Keep},
      {"report_probes",
       {{"message_id", T, nullptr},
        {"company_id", T, nullptr},
        {"application_id", T, nullptr},
        {"day", T, nullptr},
        {"version", T, nullptr},
        {"name", T, nullptr},
        {"used_mb", I, nullptr},
        {"cpu", I, nullptr}},
       1, Merge::Keep},
      {"report_profiles",
       {{"message_id", T, nullptr},
        {"company_id", T, nullptr},
        {"application_id", T, nullptr},
        {"day", T, nullptr},
        {"version", T, nullptr},
        {"message_group", T, nullptr},
        {"generated_ms", I, nullptr},
        {"cpu", T, nullptr},
        {"cpus", I, nullptr},
        {"memory_mb", T, nullptr},  // an unsigned 64-bit count, as text
        {"screen", T, nullptr}},
       1, Merge::Keep},
      {"report_open_stops",
       {{"start_id", T, nullptr},
        {"stop_id", T, nullptr},
        {"company_id", T, nullptr},
        {"application_id", T, nullptr},
        {"day", T, nullptr},
        {"version", T, nullptr},
        {"name", T, nullptr},
        {"stop_ms", I, nullptr}},
       1, Merge::Keep},
  };
}

}  // namespace

const std::vector<SummaryTable>& SummaryTables::All() {
  static const std::vector<SummaryTable> tables = MakeTables();
  return tables;
}

std::vector<std::string> SummaryTables::CreateStatements() {
  std::vector<std::string> out;
  for (const SummaryTable& t : All()) {
    std::string sql = std::string("CREATE TABLE IF NOT EXISTS ") + t.name + " (";
    std::string key;
    for (size_t i = 0; i < t.columns.size(); ++i) {
      const Column& c = t.columns[i];
      sql += std::string(c.name) + (c.type == ColumnType::Text ? " TEXT" : " BIGINT");
      if (i < t.keyColumns) sql += " NOT NULL";
      sql += ", ";
      if (i < t.keyColumns) key += (i > 0 ? ", " : "") + std::string(c.name);
    }
    out.push_back(sql + "PRIMARY KEY (" + key + "))");
  }
  for (const char* table : {"report_durations", "report_faults", "report_probes", "report_profiles"}) {
    out.push_back(std::string("CREATE INDEX IF NOT EXISTS ") + table + "_day ON " + table +
                  " (company_id, application_id, day)");
  }
  out.push_back("CREATE INDEX IF NOT EXISTS report_batches_received ON report_batches (received)");
  // Counting distinct users and hosts joins every run of the range: this
  // answers those lookups from the index alone.
  out.push_back("CREATE INDEX IF NOT EXISTS report_runs_people ON report_runs (message_group, user_hash, host_hash, os)");
  return out;
}

std::vector<std::string> SummaryTables::ExpireByDay() {
  std::vector<std::string> out;
  for (const SummaryTable& t : All()) {
    for (const Column& c : t.columns) {
      if (std::string(c.name) == "day") out.push_back(std::string("DELETE FROM ") + t.name + " WHERE day < ?");
    }
  }
  return out;
}

std::string SummaryTables::ExpireClaims() { return "DELETE FROM report_batches WHERE received < ?"; }

}  // namespace collector
}  // namespace qz
