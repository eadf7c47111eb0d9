#include "report/Report.h"

#include <cstdlib>

namespace qz {
namespace collector {

namespace {

const char kTotals[] = "SELECT (SELECT COUNT(*) FROM batches), (SELECT COUNT(*) FROM messages)";

const char kFeaturesByUse[] =
    "SELECT name, COUNT(*), SUM(CASE WHEN event = 'tick' THEN 1 ELSE 0 END), "
    "SUM(CASE WHEN event = 'start' THEN 1 ELSE 0 END) "
    "FROM features WHERE event IN ('tick', 'start') GROUP BY name ORDER BY 2 DESC, 1";

// A stop paired with its start carries the start's id as its group.
const char kFeaturesByTime[] =
    "SELECT fe.name, COUNT(*), SUM(me.generated_ms - ms.generated_ms) "
    "FROM features fe JOIN messages me ON me.id = fe.message_id "
    "JOIN features fs ON fs.message_id = fe.group_id AND fs.event = 'start' "
    "JOIN messages ms ON ms.id = fs.message_id "
    "WHERE fe.event = 'stop' AND fe.group_id <> fe.message_id "
    "GROUP BY fe.name ORDER BY 3 DESC, 1";

const char kSessionsPerDay[] =
    "SELECT substr(generated, 1, 10), COUNT(*) FROM messages WHERE kind = 'session-start' "
    "GROUP BY 1 ORDER BY 1";

const char kFaultsByType[] =
    "SELECT x.exception_type, COUNT(*), SUM(CASE WHEN f.event = 'uncaught' THEN 1 ELSE 0 END) "
    "FROM faults f JOIN exceptions x ON x.message_id = f.message_id AND x.position = 0 "
    "GROUP BY 1 ORDER BY 2 DESC, 1";

const char kProbes[] =
    "SELECT substr(m.generated, 1, 13), COALESCE(p.name, ''), COUNT(*), "
    "CAST(ROUND(AVG(p.memory_used)) AS BIGINT), CAST(ROUND(AVG(p.memory_available)) AS BIGINT), "
    "CAST(ROUND(AVG(p.cpu_utilization)) AS BIGINT) "
    "FROM probes p JOIN messages m ON m.id = p.message_id GROUP BY 1, 2 ORDER BY 1, 2";

// A profile belongs to the host named by an app-start of the same run (message group).
const char kLatestProfiles[] =
    "SELECT host, id, generated FROM ("
    " SELECT host, id, generated, ROW_NUMBER() OVER (PARTITION BY host ORDER BY generated_ms DESC, id DESC) AS n"
    " FROM (SELECT m.id, m.generated, m.generated_ms, COALESCE(("
    "   SELECT COALESCE(h.name, h.ip) FROM hosts h JOIN messages hm ON hm.id = h.message_id"
    "   JOIN batches hb ON hb.id = hm.batch_id WHERE hb.message_group = b.message_group"
    "   ORDER BY hm.generated_ms DESC LIMIT 1), '') AS host"
    "  FROM profiles p JOIN messages m ON m.id = p.message_id JOIN batches b ON b.id = m.batch_id) AS hp"
    ") AS ranked WHERE n = 1 ORDER BY host";

int64_t Int(const Value& v) { return v ? std::strtoll(v->c_str(), nullptr, 10) : 0; }

std::string Text(const Value& v) { return v ? *v : std::string(); }

// "name=CPU0 speed=2400" from the columns after the key ones.
std::string Describe(const Table& table, const QueryResult& result, const std::vector<Value>& row) {
  std::string line;
  for (size_t c = table.keyColumns; c < row.size(); ++c) {
    if (!row[c]) continue;
    const ColumnType type = table.columns[c].type;
    std::string value = *row[c];
    if (type == ColumnType::Flag || type == ColumnType::Boolean) {
      if (type == ColumnType::Flag && value == "0") continue;  // written only when true: absent
      value = value == "0" ? "false" : "true";
    }
    if (!line.empty()) line += ' ';
    line += result.columns[c] + "=" + value;
  }
  return line;
}

bool LoadProfile(Store& store, Report::Profile& profile, std::string& error) {
  QueryResult result;
  for (const Table& table : Tables::All()) {
    if (table.element == nullptr && std::string(table.name) != "profiles") continue;
    std::string sql = std::string("SELECT * FROM ") + table.name + " WHERE message_id = ?";
    if (table.positioned) sql += " ORDER BY position";
    if (!store.Query(sql, {profile.id}, result, error)) return false;
    for (const auto& row : result.rows) {
      std::string line = Describe(table, result, row);
      if (table.element == nullptr && line.empty()) continue;
      profile.lines.emplace_back(table.element != nullptr ? table.element : "system", line);
    }
  }
  return true;
}

}  // namespace

bool Report::Load(Store& store, Report& report, std::string& error) {
  report = Report();
  report.storeKind = store.Kind();
  QueryResult r;
  if (!store.Query(kTotals, {}, r, error)) return false;
  if (!r.rows.empty()) {
    report.batches = Int(r.rows[0][0]);
    report.messages = Int(r.rows[0][1]);
  }
  if (!store.Query(kFeaturesByUse, {}, r, error)) return false;
  for (const auto& row : r.rows) {
    report.featuresByUse.push_back({Text(row[0]), Int(row[1]), Int(row[2]), Int(row[3])});
  }
  if (!store.Query(kFeaturesByTime, {}, r, error)) return false;
  for (const auto& row : r.rows) report.featuresByTime.push_back({Text(row[0]), Int(row[1]), Int(row[2])});
  if (!store.Query(kSessionsPerDay, {}, r, error)) return false;
  for (const auto& row : r.rows) report.sessionsPerDay.push_back({Text(row[0]), Int(row[1])});
  if (!store.Query(kFaultsByType, {}, r, error)) return false;
  for (const auto& row : r.rows) report.faultsByType.push_back({Text(row[0]), Int(row[1]), Int(row[2])});
  if (!store.Query(kProbes, {}, r, error)) return false;
  for (const auto& row : r.rows) {
    report.probes.push_back({Text(row[0]), Text(row[1]), Int(row[2]), row[3], row[4], row[5]});
  }
  if (!store.Query(kLatestProfiles, {}, r, error)) return false;
  for (const auto& row : r.rows) {
    Profile profile;
    profile.host = Text(row[0]);
    profile.id = Text(row[1]);
    profile.generated = Text(row[2]);
    if (!LoadProfile(store, profile, error)) return false;
    report.latestProfiles.push_back(std::move(profile));
  }
  return true;
}

}  // namespace collector
}  // namespace qz
