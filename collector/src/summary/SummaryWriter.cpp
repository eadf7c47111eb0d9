#include "summary/SummaryWriter.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <set>
#include <unordered_map>

namespace qz {
namespace collector {

namespace {

std::string Text(const Value& v) { return v ? *v : std::string(); }

Value Number(int64_t n) { return Value(std::to_string(n)); }

int64_t Int(const Value& v) { return v ? std::strtoll(v->c_str(), nullptr, 10) : 0; }

// The rows of one group, by table and message id.
struct Index {
  std::map<std::string, const Row*> batches;  // by id
  std::vector<const Row*> messages;
  std::unordered_map<std::string, const Row*> messageById;
  std::unordered_map<std::string, std::vector<const Row*>> children[static_cast<size_t>(TableId::ProfileTerminalServices) + 1];

  explicit Index(const std::vector<const Row*>& rows) {
    for (const Row* r : rows) {
      if (r->values.empty() || !r->values[0]) continue;
      const std::string& key = *r->values[0];
      if (r->table == TableId::Batches) {
        batches.emplace(key, r);
      } else if (r->table == TableId::Messages) {
        if (messageById.emplace(key, r).second) messages.push_back(r);
      } else {
        children[static_cast<size_t>(r->table)][key].push_back(r);
      }
    }
  }

  const std::vector<const Row*>& Of(TableId table, const std::string& message) const {
    static const std::vector<const Row*> none;
    const auto& map = children[static_cast<size_t>(table)];
    const auto it = map.find(message);
    return it == map.end() ? none : it->second;
  }
  const Row* First(TableId table, const std::string& message) const {
    const auto& rows = Of(table, message);
    return rows.empty() ? nullptr : rows.front();
  }
};

// Where a message belongs: company, application, day and version, the
// first four key columns of most summaries.
struct Place {
  std::string company, application, day, version, group;
};

// Rows keyed by their key columns, merged as their table says before they
// are written, so that no key comes twice in one statement.
class Pending {
 public:
  explicit Pending(SummaryId id) : table(SummaryTables::Get(id)) {}

  void Add(std::vector<Value> row) {
    std::vector<Value> key(row.begin(), row.begin() + static_cast<std::ptrdiff_t>(table.keyColumns));
    auto it = rows.find(key);
    if (it == rows.end()) {
      rows.emplace(std::move(key), std::move(row));
      return;
    }
    if (table.merge == Merge::Add) {
      for (size_t c = table.keyColumns; c < row.size(); ++c) it->second[c] = Number(Int(it->second[c]) + Int(row[c]));
    } else if (table.merge == Merge::Replace) {
      it->second = std::move(row);
    }
  }

  bool Write(SummaryDb& db, std::string& error) const {
    if (rows.empty()) return true;
    SummaryRows out;
    out.reserve(rows.size());
    for (const auto& r : rows) out.push_back(r.second);
    return db.Upsert(table, out, error);
  }

 private:
  const SummaryTable& table;
  std::map<std::vector<Value>, std::vector<Value>> rows;  // ordered: every collector locks keys in one order
};

std::string Stack(const Index& index, const std::string& id) {
  std::vector<const Row*> frames;
  for (const Row* f : index.Of(TableId::StackFrames, id)) {
    if (Int(f->values[1]) == 0) frames.push_back(f);
  }
  std::sort(frames.begin(), frames.end(), [](const Row* a, const Row* b) { return Int(a->values[2]) < Int(b->values[2]); });
  std::string out;
  for (const Row* f : frames) {
    if (!out.empty()) out += '\n';
    out += Text(f->values[4]) + "." + Text(f->values[5]);
    if (f->values[6]) out += " (" + *f->values[6] + (f->values[7] ? ":" + *f->values[7] : "") + ")";
  }
  return out;
}

// "Intel Xeon E5" from the model; without one (Windows names its
// processors CPU0, CPU1...), the maker and the top speed.
std::string Processor(const Row& cpu) {
  const std::string maker = Text(cpu.values[3]);
  if (cpu.values[4] && !cpu.values[4]->empty()) return maker.empty() ? *cpu.values[4] : maker + " " + *cpu.values[4];
  const Value& speed = cpu.values[7] ? cpu.values[7] : cpu.values[6];
  std::string out = maker.empty() ? "unknown" : maker;
  if (speed) out += " " + *speed + " MHz";
  return out;
}

// Both times lie within years 1-9999, so their difference fits.
int64_t Clamped(int64_t ms) { return std::min(std::max<int64_t>(ms, 0), SummaryWriter::kMaxDurationMs); }

}  // namespace

bool SummaryWriter::Update(SummaryDb& db, const std::vector<const Row*>& rows, std::string& error) {
  const Index index(rows);
  if (index.batches.empty()) return true;

  // Which batches are new, and which of their messages they stored.
  SummaryRows claims;
  for (const auto& b : index.batches) claims.push_back({b.second->values[0], b.second->values[1]});
  std::set<std::string> claimed;
  if (!db.Claim(SummaryTables::Get(SummaryId::Batches), claims, claimed, error)) return false;
  std::vector<std::string> ids;
  for (const Row* m : index.messages) {
    if (claimed.count(Text(m->values[1])) > 0) ids.push_back(*m->values[0]);
  }
  std::map<std::string, std::vector<std::string>> owner;
  if (!ids.empty() && !db.Select("messages", "id", {"batch_id"}, ids, owner, error)) return false;

  // Starts of the stops in this group that are not in it themselves, and
  // stops stored earlier that wait for the starts in it.
  std::vector<std::string> missing, starts;
  for (const Row* m : index.messages) {
    const Row* f = index.First(TableId::Features, *m->values[0]);
    if (f == nullptr) continue;
    if (Text(f->values[2]) == "start") starts.push_back(*m->values[0]);
    if (Text(f->values[2]) != "stop" || Text(f->values[3]) == *m->values[0]) continue;
    if (index.messageById.count(Text(f->values[3])) == 0) missing.push_back(Text(f->values[3]));
  }
  std::map<std::string, std::vector<std::string>> startMs, waiting;
  if (!missing.empty() && !db.Select("messages", "id", {"generated_ms"}, missing, startMs, error)) return false;
  if (!starts.empty() &&
      !db.Select("report_open_stops", "start_id",
                 {"stop_id", "company_id", "application_id", "day", "version", "name", "stop_ms"}, starts, waiting,
                 error)) {
    return false;
  }

  Pending apps(SummaryId::Apps), runs(SummaryId::Runs), runDays(SummaryId::RunDays), daily(SummaryId::Daily),
      featureDays(SummaryId::FeatureDays), featureRuns(SummaryId::FeatureRuns), durations(SummaryId::Durations),
      faults(SummaryId::Faults), probes(SummaryId::Probes), profiles(SummaryId::Profiles),
      openStops(SummaryId::OpenStops);
  for (const auto& b : index.batches) {
    const Row& batch = *b.second;
    apps.Add({Value(Text(batch.values[9])), Value(Text(batch.values[11])), batch.values[10], batch.values[12]});
  }
  for (const Row* m : index.messages) {
    const std::string& id = *m->values[0];
    const auto batchIt = index.batches.find(Text(m->values[1]));
    if (batchIt == index.batches.end()) continue;
    const Row& batch = *batchIt->second;
    const Place p{Text(batch.values[9]), Text(batch.values[11]), Text(m->values[4]).substr(0, 10),
                  Text(batch.values[13]), Text(batch.values[8])};
    const std::string kind = Text(m->values[3]);
    const int64_t generated = Int(m->values[5]);
    const auto own = owner.find(id);
    const bool counted = own != owner.end() && own->second.at(0) == batchIt->first;

    runDays.Add({Value(p.company), Value(p.application), Value(p.day), Value(p.version), Value(p.group)});
    if (counted) {
      daily.Add({Value(p.company), Value(p.application), Value(p.day), Value(p.version), Number(1),
                 Number(kind == "session-start" ? 1 : 0)});
    }
    if (kind == "app-start" || kind == "app-stop") {
      const Row* host = index.First(TableId::Hosts, id);
      const Row* user = index.First(TableId::Users, id);
      Value hostHash, os;
      if (host != nullptr) {
        // Without personal information every host is "N/A": no identity.
        if (host->values[1] && !host->values[1]->empty() && *host->values[1] != "N/A") hostHash = host->values[1];
        os = host->values[7];
      }
      Value userHash = user != nullptr && user->values[1] && !user->values[1]->empty() ? user->values[1] : Value();
      runs.Add({Value(p.group), userHash, hostHash, os, Number(generated)});
    } else if (kind == "feature") {
      const Row* f = index.First(TableId::Features, id);
      if (f == nullptr) continue;
      const std::string event = Text(f->values[2]), name = Text(f->values[1]), group = Text(f->values[3]);
      const auto late = waiting.find(id);
      if (event == "start" && late != waiting.end()) {
        const auto& w = late->second;  // stop_id, company, application, day, version, name, stop_ms
        const int64_t ms = std::strtoll(w[6].c_str(), nullptr, 10) - generated;
        durations.Add({Value(w[0]), Value(w[1]), Value(w[2]), Value(w[3]), Value(w[4]), Value(w[5]),
                       Number(Clamped(ms)), Number(Clamped(ms) != ms ? 1 : 0)});
      }
      if (event == "tick" || event == "start") {
        featureRuns.Add({Value(p.company), Value(p.application), Value(p.day), Value(p.version), Value(name),
                         Value(p.group)});
        if (counted) {
          featureDays.Add({Value(p.company), Value(p.application), Value(p.day), Value(p.version), Value(name),
                           Number(event == "tick" ? 1 : 0), Number(event == "start" ? 1 : 0)});
        }
      } else if (event == "stop" && group != id) {
        int64_t start = 0;
        const auto here = index.messageById.find(group);
        if (here != index.messageById.end()) {
          start = Int(here->second->values[5]);
        } else {
          const auto stored = startMs.find(group);
          if (stored == startMs.end()) {
            // Its start comes later: timed when it does.
            openStops.Add({Value(group), Value(id), Value(p.company), Value(p.application), Value(p.day),
                           Value(p.version), Value(name), Number(generated)});
            continue;
          }
          start = std::strtoll(stored->second.at(0).c_str(), nullptr, 10);
        }
        const int64_t ms = generated - start;
        durations.Add({Value(id), Value(p.company), Value(p.application), Value(p.day), Value(p.version), Value(name),
                       Number(Clamped(ms)), Number(Clamped(ms) != ms ? 1 : 0)});
      }
    } else if (kind == "fault") {
      const Row* f = index.First(TableId::Faults, id);
      const Row* first = nullptr;
      for (const Row* x : index.Of(TableId::Exceptions, id)) {
        if (Int(x->values[1]) == 0) first = x;
      }
      faults.Add({Value(id), Value(p.company), Value(p.application), Value(p.day), Value(p.version), Number(generated),
                  Value(p.group), Number(f != nullptr && Text(f->values[1]) == "uncaught" ? 1 : 0),
                  Value(first != nullptr ? Text(first->values[3]) : "Unknown"),
                  first != nullptr ? first->values[4] : Value(), Value(Stack(index, id))});
    } else if (kind == "performance-probe") {
      const Row* probe = index.First(TableId::Probes, id);
      if (probe == nullptr) continue;
      probes.Add({Value(id), Value(p.company), Value(p.application), Value(p.day), Value(p.version),
                  Value(Text(probe->values[1])), probe->values[3], probe->values[4]});
    } else if (kind == "system-profile") {
      const auto& cpus = index.Of(TableId::ProfileCpus, id);
      const Row* memory = index.First(TableId::ProfileMemory, id);
      const Row* screen = index.First(TableId::ProfileScreens, id);
      Value screenText;
      if (screen != nullptr && screen->values[2] && screen->values[3]) {
        screenText = *screen->values[2] + "x" + *screen->values[3];
      }
      profiles.Add({Value(id), Value(p.company), Value(p.application), Value(p.day), Value(p.version), Value(p.group),
                    Number(generated), cpus.empty() ? Value() : Value(Processor(*cpus.front())),
                    Number(static_cast<int64_t>(cpus.size())),
                    memory != nullptr ? (memory->values[1] ? memory->values[1] : memory->values[2]) : Value(),
                    screenText});
    }
  }
  for (const Pending* p : {&apps, &runs, &runDays, &daily, &featureDays, &featureRuns, &durations, &faults, &probes,
                           &profiles, &openStops}) {
    if (!p->Write(db, error)) return false;
  }
  return true;
}

}  // namespace collector
}  // namespace qz
