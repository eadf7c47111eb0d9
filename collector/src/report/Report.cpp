#include "report/Report.h"

#include <algorithm>
#include <cstdlib>
#include <set>
#include <tuple>

#include "common/TimeText.h"

namespace qz {
namespace collector {

namespace {

int64_t Int(const Value& v) { return v ? std::strtoll(v->c_str(), nullptr, 10) : 0; }

std::string Text(const Value& v) { return v ? *v : std::string(); }

// The report's queries: each with the filter's conditions on its table.
class Loader {
 public:
  Loader(Store& store, Report& r) : store(store), r(r) {}

  // "company_id = ? AND ... " on alias a, and the parameters to go with it;
  // with the version unless allVersions.
  std::string Where(const char* a, std::vector<std::string>& params, bool allVersions = false) const {
    const std::string p = a[0] != 0 ? std::string(a) + "." : "";
    params = {r.filter.company, r.filter.application, r.filter.from, r.filter.to};
    std::string sql = p + "company_id = ? AND " + p + "application_id = ? AND " + p + "day >= ? AND " + p + "day <= ?";
    if (!allVersions && !r.filter.version.empty()) {
      sql += " AND " + p + "version = ?";
      params.push_back(r.filter.version);
    }
    return sql;
  }

  bool Query(const std::string& sql, const std::vector<std::string>& params, QueryResult& out) {
    return store.Query(sql, params, out, error);
  }

  bool Navigation() {
    QueryResult q;
    if (!Query("SELECT company_id, application_id, company_name, application_name FROM report_apps", {}, q)) return false;
    for (const auto& row : q.rows) r.apps.push_back({Text(row[0]), Text(row[1]), Text(row[2]), Text(row[3])});
    std::sort(r.apps.begin(), r.apps.end(), [](const Report::App& a, const Report::App& b) {
      return std::tie(a.companyName, a.applicationName, a.company, a.application) <
             std::tie(b.companyName, b.applicationName, b.company, b.application);
    });
    ReportFilter& f = r.filter;
    for (const Report::App& a : r.apps) {
      if ((f.company.empty() || f.company == a.company) && (f.application.empty() || f.application == a.application)) {
        f.company = a.company;
        f.application = a.application;
        r.known = true;
        break;
      }
    }
    if (!r.known) return true;
    if (!Query("SELECT DISTINCT version FROM report_daily WHERE company_id = ? AND application_id = ?",
               {f.company, f.application}, q)) {
      return false;
    }
    for (const auto& row : q.rows) r.versions.push_back(Text(row[0]));
    std::sort(r.versions.begin(), r.versions.end());
    return true;
  }

  bool Overview() {
    std::map<std::string, Report::Day> days;
    for (std::string d = r.filter.from;; d = ReportFilter::AddDays(d, 1)) {
      days[d].day = d;
      if (d >= r.filter.to || days.size() > 400000) break;  // the calendar has fewer days
    }
    std::vector<std::string> params;
    QueryResult q;
    if (!Query("SELECT day, SUM(messages), SUM(sessions) FROM report_daily WHERE " + Where("", params) +
                   " GROUP BY day",
               params, q)) {
      return false;
    }
    for (const auto& row : q.rows) {
      Report::Day& d = days[Text(row[0])];
      d.messages = Int(row[1]);
      d.sessions = Int(row[2]);
      r.messages += d.messages;
      r.sessions += d.sessions;
    }
    const std::string active = " FROM report_run_days d LEFT JOIN report_runs u ON u.message_group = d.message_group "
                               "WHERE " + Where("d", params);
    if (!Query("SELECT d.day, COUNT(DISTINCT u.user_hash), COUNT(DISTINCT u.host_hash)" + active + " GROUP BY d.day",
               params, q)) {
      return false;
    }
    for (const auto& row : q.rows) {
      days[Text(row[0])].users = Int(row[1]);
      days[Text(row[0])].installs = Int(row[2]);
    }
    if (!Query("SELECT COUNT(DISTINCT u.user_hash), COUNT(DISTINCT u.host_hash)" + active, params, q)) return false;
    if (!q.rows.empty()) {
      r.users = Int(q.rows[0][0]);
      r.installs = Int(q.rows[0][1]);
    }
    // A host is new on the first day it ran the application (that version) at all.
    std::vector<std::string> all = {r.filter.company, r.filter.application};
    std::string version;
    if (!r.filter.version.empty()) {
      version = " AND d.version = ?";
      all.push_back(r.filter.version);
    }
    all.push_back(r.filter.from);
    all.push_back(r.filter.to);
    if (!Query("SELECT first, COUNT(*) FROM (SELECT u.host_hash, MIN(d.day) AS first FROM report_run_days d "
               "JOIN report_runs u ON u.message_group = d.message_group WHERE d.company_id = ? AND "
               "d.application_id = ?" + version + " AND u.host_hash IS NOT NULL GROUP BY u.host_hash) AS f "
               "WHERE first >= ? AND first <= ? GROUP BY first",
               all, q)) {
      return false;
    }
    for (const auto& row : q.rows) {
      days[Text(row[0])].newInstalls = Int(row[1]);
      r.newInstalls += Int(row[1]);
    }
    for (auto& d : days) r.days.push_back(d.second);

    if (!Query("SELECT version, SUM(sessions) FROM report_daily WHERE " + Where("", params, true) +
                   " GROUP BY version ORDER BY 2 DESC, 1",
               params, q)) {
      return false;
    }
    for (const auto& row : q.rows) r.versionsInUse.push_back({Text(row[0]), Int(row[1])});
    Where("d", params);  // the parameters of active again
    if (!Query("SELECT COALESCE(u.os, ''), COUNT(DISTINCT u.host_hash)" + active +
                   " AND u.host_hash IS NOT NULL GROUP BY COALESCE(u.os, '') ORDER BY 2 DESC, 1",
               params, q)) {
      return false;
    }
    for (const auto& row : q.rows) r.systemsInUse.push_back({Text(row[0]), Int(row[1])});
    return true;
  }

  bool Features() {
    if (r.users == 0 && !r.Shows("overview")) {
      std::vector<std::string> params;
      QueryResult q;
      if (!Query("SELECT COUNT(DISTINCT u.user_hash) FROM report_run_days d LEFT JOIN report_runs u ON "
                 "u.message_group = d.message_group WHERE " + Where("d", params),
                 params, q)) {
        return false;
      }
      if (!q.rows.empty()) r.users = Int(q.rows[0][0]);
    }
    std::map<std::string, Report::Feature> features;
    std::vector<std::string> params;
    QueryResult q;
    if (!Query("SELECT name, SUM(ticks), SUM(starts) FROM report_feature_days WHERE " + Where("", params) +
                   " GROUP BY name",
               params, q)) {
      return false;
    }
    for (const auto& row : q.rows) {
      Report::Feature& f = features[Text(row[0])];
      f.ticks = Int(row[1]);
      f.starts = Int(row[2]);
    }
    if (!Query("SELECT f.name, COUNT(DISTINCT u.user_hash) FROM report_feature_runs f JOIN report_runs u ON "
               "u.message_group = f.message_group WHERE " + Where("f", params) + " GROUP BY f.name",
               params, q)) {
      return false;
    }
    for (const auto& row : q.rows) features[Text(row[0])].users = Int(row[1]);
    if (!Query("SELECT name, ms, clamped FROM report_durations WHERE " + Where("", params), params, q)) return false;
    std::map<std::string, std::vector<int64_t>> times;
    for (const auto& row : q.rows) {
      Report::Feature& f = features[Text(row[0])];
      const int64_t ms = Int(row[1]);
      times[Text(row[0])].push_back(ms);
      f.totalMs += static_cast<double>(ms);
      f.clamped += Int(row[2]) != 0;
    }
    for (auto& t : times) {
      std::sort(t.second.begin(), t.second.end());
      Report::Feature& f = features[t.first];
      f.pairs = static_cast<int64_t>(t.second.size());
      f.medianMs = Report::Percentile(t.second, 50);
      f.p90Ms = Report::Percentile(t.second, 90);
    }
    for (auto& f : features) {
      f.second.name = f.first;
      r.features.push_back(f.second);
    }
    std::sort(r.features.begin(), r.features.end(), [](const Report::Feature& a, const Report::Feature& b) {
      return a.users != b.users ? a.users > b.users : a.Uses() != b.Uses() ? a.Uses() > b.Uses() : a.name < b.name;
    });
    return true;
  }

  bool Labels() {
    // Numbered in the order first seen, over everything stored.
    for (const char* column : {"user_hash", "host_hash"}) {
      QueryResult q;
      if (!Query(std::string("SELECT ") + column + ", MIN(started_ms) FROM report_runs WHERE " + column +
                     " IS NOT NULL GROUP BY " + column,
                 {}, q)) {
        return false;
      }
      std::vector<std::pair<int64_t, std::string>> seen;
      for (const auto& row : q.rows) seen.emplace_back(Int(row[1]), Text(row[0]));
      std::sort(seen.begin(), seen.end());
      const std::string kind = column[0] == 'u' ? "user " : "host ";
      for (size_t i = 0; i < seen.size(); ++i) r.labels[kind + seen[i].second] = kind + std::to_string(i + 1);
    }
    return true;
  }

  std::string Label(const char* kind, const Value& hash) const {
    if (!hash) return "";
    const auto it = r.labels.find(std::string(kind) + " " + *hash);
    return it == r.labels.end() ? "" : it->second;
  }

  bool Stability() {
    std::map<std::string, Report::VersionFaults> versions;
    std::vector<std::string> params;
    QueryResult q;
    if (!Query("SELECT version, SUM(sessions) FROM report_daily WHERE " + Where("", params) + " GROUP BY version",
               params, q)) {
      return false;
    }
    for (const auto& row : q.rows) versions[Text(row[0])].sessions = Int(row[1]);
    if (!Query("SELECT version, COUNT(*), SUM(uncaught) FROM report_faults WHERE " + Where("", params) +
                   " GROUP BY version",
               params, q)) {
      return false;
    }
    for (const auto& row : q.rows) {
      versions[Text(row[0])].faults = Int(row[1]);
      versions[Text(row[0])].uncaught = Int(row[2]);
      r.faults += Int(row[1]);
      r.uncaught += Int(row[2]);
    }
    for (auto& v : versions) {
      v.second.version = v.first;
      r.faultsByVersion.push_back(v.second);
    }
    if (!Query("SELECT type, COUNT(*), SUM(uncaught) FROM report_faults WHERE " + Where("", params) +
                   " GROUP BY type ORDER BY 2 DESC, 1 LIMIT 10",
               params, q)) {
      return false;
    }
    for (const auto& row : q.rows) {
      Report::ExceptionType t;
      t.type = Text(row[0]);
      t.faults = Int(row[1]);
      t.uncaught = Int(row[2]);
      r.exceptionTypes.push_back(t);
    }
    if (r.exceptionTypes.empty()) return true;
    if (!Labels()) return false;
    for (Report::ExceptionType& t : r.exceptionTypes) {
      std::vector<std::string> p;
      const std::string where = Where("f", p);
      p.push_back(t.type);
      if (!Query("SELECT f.message, f.stack, f.generated_ms, f.version, u.user_hash, u.host_hash FROM report_faults f "
                 "LEFT JOIN report_runs u ON u.message_group = f.message_group WHERE " + where +
                 " AND f.type = ? ORDER BY f.generated_ms DESC, f.message_id DESC LIMIT 1",
                 p, q)) {
        return false;
      }
      if (q.rows.empty()) continue;
      const auto& row = q.rows[0];
      t.message = Text(row[0]);
      t.stack = Text(row[1]);
      t.generated = TimeText::FromMillis(Int(row[2]));
      t.version = Text(row[3]);
      t.user = Label("user", row[4]);
      t.host = Label("host", row[5]);
    }
    return true;
  }

  bool Performance() {
    std::vector<std::string> params;
    QueryResult q;
    if (!Query("SELECT name, day, used_mb, cpu FROM report_probes WHERE " + Where("", params), params, q)) return false;
    std::map<std::pair<std::string, std::string>, std::pair<std::vector<int64_t>, std::vector<int64_t>>> series;
    for (const auto& row : q.rows) {
      auto& s = series[{Text(row[0]), Text(row[1])}];
      s.first.push_back(Int(row[2]));
      if (row[3]) s.second.push_back(Int(row[3]));
    }
    for (auto& s : series) {
      Report::ProbeDay p;
      p.name = s.first.first;
      p.day = s.first.second;
      p.probes = static_cast<int64_t>(s.second.first.size());
      p.memory = Of(s.second.first);
      if (!s.second.second.empty()) p.cpu = Of(s.second.second);
      r.probes.push_back(p);
    }
    return true;
  }

  static Report::Stat Of(std::vector<int64_t>& values) {
    std::sort(values.begin(), values.end());
    return {static_cast<int64_t>(values.size()), Report::Percentile(values, 50), Report::Percentile(values, 90)};
  }

  // Memory as the power of two of GB that holds it: "8 GB" for 7.9 GB.
  static std::string MemoryClass(const Value& mb) {
    if (!mb || mb->empty() || (*mb)[0] == '-') return "unknown";
    const unsigned long long value = std::strtoull(mb->c_str(), nullptr, 10);
    if (value == 0) return "unknown";
    unsigned long long gb = 1;
    while (gb < (1ULL << 40) && gb * 1024 < value) gb *= 2;
    return gb >= (1ULL << 40) ? "more than 1 PB" : std::to_string(gb) + " GB";
  }

  bool Machines() {
    std::vector<std::string> params;
    QueryResult q;
    if (!Query("SELECT u.host_hash, p.message_group, p.generated_ms, p.message_id, p.cpu, p.cpus, p.memory_mb, "
               "p.screen, u.os FROM report_profiles p LEFT JOIN report_runs u ON u.message_group = p.message_group "
               "WHERE " + Where("p", params),
               params, q)) {
      return false;
    }
    // The latest profile of each host (of each run, when the host is unknown).
    std::map<std::string, const std::vector<Value>*> latest;
    for (const auto& row : q.rows) {
      const std::string host = row[0] ? "host " + *row[0] : "run " + Text(row[1]);
      const auto*& best = latest[host];
      if (best == nullptr || std::make_pair(Int(row[2]), Text(row[3])) > std::make_pair(Int((*best)[2]), Text((*best)[3]))) {
        best = &row;
      }
    }
    r.profiledHosts = static_cast<int64_t>(latest.size());
    std::map<std::string, int64_t> counts[4];
    for (const auto& l : latest) {
      const auto& row = *l.second;
      std::string cpu = row[4] ? *row[4] : "unknown";
      if (Int(row[5]) > 1) cpu += " (" + std::to_string(Int(row[5])) + " processors)";
      ++counts[0][cpu];
      ++counts[1][MemoryClass(row[6])];
      ++counts[2][row[7] ? *row[7] : "unknown"];
      ++counts[3][row[8] && !row[8]->empty() ? *row[8] : "unknown"];
    }
    const char* titles[] = {"Processors", "Memory", "Screens", "Operating systems"};
    for (int i = 0; i < 4; ++i) {
      Report::Distribution d;
      d.title = titles[i];
      for (const auto& c : counts[i]) d.shares.push_back({c.first, c.second});
      std::stable_sort(d.shares.begin(), d.shares.end(),
                       [](const Report::Share& a, const Report::Share& b) { return a.count > b.count; });
      r.machines.push_back(d);
    }
    return true;
  }

  std::string error;

 private:
  Store& store;
  Report& r;
};

}  // namespace

int64_t Report::Percentile(const std::vector<int64_t>& sorted, int p) {
  if (sorted.empty()) return 0;
  // Nearest rank: the smallest value with at least p % of the values at or below it.
  size_t rank = (sorted.size() * static_cast<size_t>(p) + 99) / 100;
  rank = std::max<size_t>(rank, 1);
  return sorted[std::min(rank, sorted.size()) - 1];
}

bool Report::Load(Store& store, const ReportFilter& filter, const std::string& today, Report& report,
                  std::string& error) {
  report = Report();
  report.filter = filter;
  report.filter.SetDefaultRange(today);
  if (report.filter.view.empty()) report.filter.view = "overview";
  report.storeKind = store.Kind();
  Loader load(store, report);
  bool ok = load.Navigation();
  if (ok && report.known) {
    ok = (!report.Shows("overview") || load.Overview()) && (!report.Shows("features") || load.Features()) &&
         (!report.Shows("stability") || load.Stability()) && (!report.Shows("performance") || load.Performance()) &&
         (!report.Shows("machines") || load.Machines());
  }
  if (!ok) error = load.error;
  return ok;
}

}  // namespace collector
}  // namespace qz
