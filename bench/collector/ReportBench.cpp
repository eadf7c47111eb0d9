// The report at scale: fills a store with a million messages as the library
// writes them (runs of many users on many hosts, four applications of two
// companies, six versions each, 45 days up to today; every batch checked
// and stored through the collector's own parser, rows and store, so the
// summary tables are kept as ingestion keeps them), then times each view of
// the page (the figures loaded and the HTML made) with the default filter:
// the first application, all versions, the last 30 days.
//
//   qz_report_bench [--benchmark_filter=sqlite]
// Environment: QZ_BENCH_MESSAGES (default 1000000); QZ_BENCH_REPORT_DIR, a
// folder that keeps the SQLite database between runs (default: a new
// temporary one); QZ_BENCH_POSTGRES_DIR, a server of
// collector/tests/postgres.sh (without it there are no PostgreSQL rows).
#include <benchmark/benchmark.h>
#include <libpq-fe.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "common/TimeText.h"
#include "ingest/BatchParser.h"
#include "ingest/BatchRows.h"
#include "ingest/MessagingSchema.h"
#include "report/HtmlReport.h"
#include "report/Report.h"
#include "stores/Store.h"

namespace {

using namespace qz::collector;
using Clock = std::chrono::steady_clock;

constexpr int64_t kDay = 86400000;
constexpr int kDays = 45;
constexpr int kUsersPerCompany = 3000;
const char* const kCompanies[] = {"11111111-0000-4000-8000-000000000001", "22222222-0000-4000-8000-000000000002"};
const char* const kApps[] = {"AAAAAAAA-0000-4000-8000-000000000001", "AAAAAAAA-0000-4000-8000-000000000002",
                             "BBBBBBBB-0000-4000-8000-000000000001", "BBBBBBBB-0000-4000-8000-000000000002"};
const char* const kFeatures[] = {"Open", "Save", "Export", "Print", "Zoom", "Search", "Undo", "Share",
                                 "Spell check", "Insert table", "Track changes", "Macros"};
const char* const kExceptions[] = {"IOError", "NullReference", "Timeout", "OutOfMemory", "AccessDenied"};
const char* const kSystems[] = {"Microsoft Windows 10 Pro", "Microsoft Windows 11 Home", "Microsoft Windows 11 Pro",
                                "Microsoft Windows 7 Professional", "Debian GNU/Linux 12"};

// Runs, one to three batches each, as the library posts them.
class Generator {
 public:
  explicit Generator(int64_t today) : first(today - (kDays - 1) * kDay), random(20261124) {}

  // The batches of the next run; messages counts them.
  std::vector<std::string> Run(int64_t& messages) {
    const int app = Pick({50, 20, 20, 10});
    const int company = app / 2;
    const int user = static_cast<int>(Zipf(kUsersPerCompany)) + company * kUsersPerCompany;
    const int host = user * 2 + (Uniform(0, 9) == 0);  // a tenth of the runs on the user's second machine
    const int day = Uniform(0, kDays - 1);
    // Newer versions take over through the days.
    const int version = std::min(5, std::max(0, day * 6 / kDays + Uniform(-2, 1)));
    int64_t t = first + day * kDay + Uniform(0, 20 * 3600) * 1000LL;
    group = Guid();
    std::vector<std::string> out;
    std::string body;
    const auto message = [&](const std::string& text) {
      body += text;
      ++messages;
      if (++inBatch == 20) Flush(out, body, app, version, t);
    };
    inBatch = 0;
    message(Head("app-start", t) + ">\n<host ip=\"10.1." + std::to_string(host % 250) + "." +
            std::to_string(host / 250 % 250) + "\" locale=\"en_US\" name=\"" + Hash(host) +
            "\" src-lang=\"MSC\" src-lang-ver=\"160030319\">\n<os name=\"" + kSystems[host % 5] +
            "\" sp-major=\"1\" sp-minor=\"0\"/>\n</host>\n<user name=\"" + Hash(user + 1000000) + "\"/>\n</app-start>\n");
    message(Head("session-start", t += 800) + "/>\n");
    const int uses = Uniform(10, 30);
    for (int i = 0; i < uses; ++i) {
      const char* name = kFeatures[Zipf(12)];
      t += Uniform(500, 120000);
      const std::string id = Guid();
      if (Uniform(0, 4) > 0) {
        message(Feature(id, t, id, name, "tick", Binary()));
      } else {
        message(Feature(id, t, id, name, "start", Binary()));
        t += Uniform(100, 1800000);
        message(Feature(Guid(), t, id, name, "stop", Binary()));
      }
    }
    for (int p = Uniform(1, 2); p > 0; --p) {
      t += 1000;
      const int cpu = Uniform(0, 3) == 0 ? 0 : Uniform(1, 100);
      message(Head("performance-probe", t, p == 1 ? " name=\"Startup\"" : " name=\"Render\"") +
              ">\n<memory available=\"4096\" used=\"" + std::to_string(Uniform(60, 1500)) + "\"/>\n" +
              (cpu > 0 ? "<cpu utilization=\"" + std::to_string(cpu) + "\"/>\n" : "") + "</performance-probe>\n");
    }
    if (Uniform(0, 99) < 8 + 4 * (version % 3)) {
      const char* type = kExceptions[Zipf(5)];
      message(Head("fault", t += 10, Uniform(0, 4) == 0 ? " event=\"uncaught\"" : " event=\"caught\"") +
              ">\n<exception seq=\"0\" exceptionType=\"" + type + "\" message=\"" + type + " in Document.Load at " +
              std::to_string(Uniform(1, 400)) + "\">\n<stack seq=\"0\" type=\"Document\" method=\"Load\"/>\n"
              "</exception>\n</fault>\n");
    }
    if (Uniform(0, 9) == 0) {
      message(Head("system-profile", t += 10, " manufacturer=\"Contoso\" model=\"Desk\"") + ">\n<cpu name=\"CPU0\" manufacturer=\"" +
              (host % 3 ? "Intel" : "AMD") + "\" address-width=\"64\" max-speed=\"" + std::to_string(2000 + host % 4 * 400) +
              "\"/>\n<memory total=\"" + std::to_string((4 << (host % 4)) * 1024 - 300) +
              "\"/>\n<domain member=\"false\" name=\"workgroup\" role=\"0\"/>\n<time-zone zone=\"60\" dst=\"false\"/>\n"
              "<screen width=\"1920\" height=\"1080\" refresh=\"60\"/>\n</system-profile>\n");
    }
    message(Head("session-stop", t += 5000) + "/>\n");
    message(Head("app-stop", t += 100) + ">\n<host ip=\"10.1.0.0\" locale=\"en_US\" name=\"" + Hash(host) +
            "\" src-lang=\"MSC\" src-lang-ver=\"160030319\">\n<os name=\"" + kSystems[host % 5] +
            "\" sp-major=\"1\" sp-minor=\"0\"/>\n</host>\n<user name=\"" + Hash(user + 1000000) + "\"/>\n</app-stop>\n");
    if (inBatch > 0) Flush(out, body, app, version, t);
    return out;
  }

 private:
  int Uniform(int low, int high) { return std::uniform_int_distribution<int>(low, high)(random); }
  int Pick(std::initializer_list<double> weights) {
    std::discrete_distribution<int> d(weights.begin(), weights.end());
    return d(random);
  }
  // Few names (and users) used often, many rarely.
  size_t Zipf(size_t n) {
    const double u = std::uniform_real_distribution<double>(0, 1)(random);
    return std::min(n - 1, static_cast<size_t>(std::pow(static_cast<double>(n), u * u)) - 1);
  }
  std::string Guid() {
    char text[40];
    const uint64_t a = random(), b = random();
    std::snprintf(text, sizeof text, "%08X-%04X-4%03X-8%03X-%012llX", static_cast<unsigned>(a >> 32),
                  static_cast<unsigned>(a >> 16 & 0xFFFF), static_cast<unsigned>(a & 0xFFF),
                  static_cast<unsigned>(b >> 48 & 0xFFF), static_cast<unsigned long long>(b & 0xFFFFFFFFFFFFULL));
    return text;
  }
  static std::string Hash(int n) {
    char text[40];
    std::snprintf(text, sizeof text, "%016X%016X", n * 2654435761u, n);
    return text;
  }
  std::string Head(const char* kind, int64_t t, const std::string& extra = "") {
    return std::string("<") + kind + " generated=\"" + TimeText::FromMillis(t) + "\" id=\"" + Guid() + "\" session=\"" +
           group + "\"" + extra;
  }
  std::string Feature(const std::string& id, int64_t t, const std::string& of, const char* name, const char* event,
                      const std::string& children) {
    return "<feature generated=\"" + TimeText::FromMillis(t) + "\" id=\"" + id + "\" session=\"" + group +
           "\" group=\"" + of + "\" name=\"" + name + "\" event=\"" + event + "\">\n" + children + "</feature>\n";
  }
  static std::string Binary() {
    return "<binary name=\"editor.exe\" version=\"2.1.0.1234\" type=\"Editor.Document\" method=\"Run\"/>\n"
           "<property name=\"pages\" value=\"12\" type=\"decimal\"/>\n";
  }
  void Flush(std::vector<std::string>& out, std::string& body, int app, int version, int64_t t) {
    out.push_back("<messages xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
                  "xsi:noNamespaceSchemaLocation=\"http://localhost:8443/services/messaging\" protocol=\"3\" "
                  "agent-name=\"Win32\" agent-version=\"1.0\" id=\"" + Guid() + "\" message-group=\"" + group +
                  "\" sent=\"" + TimeText::FromMillis(t) + "\">\n<company id=\"" + kCompanies[app / 2] +
                  "\" name=\"Company " + std::to_string(app / 2 + 1) + "\"/>\n<application id=\"" + kApps[app] +
                  "\" name=\"Application " + std::to_string(app + 1) + "\" version=\"" + std::to_string(app + 1) + "." +
                  std::to_string(version) + "\"/>\n" + body + "</messages>\n");
    body.clear();
    inBatch = 0;
  }

  const int64_t first;
  std::mt19937_64 random;
  std::string group;
  int inBatch = 0;
};

int64_t Count(Store& store) {
  QueryResult r;
  std::string error;
  if (!store.Query("SELECT COUNT(*) FROM messages", {}, r, error) || r.rows.empty()) return -1;
  return std::atoll(r.rows[0][0]->c_str());
}

// Fills the store up to the number of messages, unless it holds them.
bool Fill(Store& store, int64_t wanted, int64_t today) {
  const int64_t stored = Count(store);
  if (stored >= wanted) {
    std::fprintf(stderr, "%s: %lld messages stored already\n", store.Kind(), static_cast<long long>(stored));
    return true;
  }
  static MessagingSchema schema;
  BatchParser parser(schema);
  Generator generator(today);
  int64_t messages = 0, batches = 0;
  const auto start = Clock::now();
  std::vector<Rows> group;
  std::string error;
  const auto write = [&] {
    std::vector<const Rows*> all;
    for (const Rows& r : group) all.push_back(&r);
    if (store.Write(all, error) != WriteStatus::Stored) std::fprintf(stderr, "write failed: %s\n", error.c_str());
    group.clear();
  };
  while (messages < wanted) {
    for (const std::string& body : generator.Run(messages)) {
      Batch batch;
      if (!parser.Parse(body, batch.root, error)) {
        std::fprintf(stderr, "generated batch refused: %s\n", error.c_str());
        return false;
      }
      batch.agent = "Win32/1.0";
      batch.received = TimeText::Now();
      group.push_back(BatchRows::Build(batch));
      ++batches;
      if (group.size() == 64) write();
    }
  }
  if (!group.empty()) write();
  std::fprintf(stderr, "%s: stored %lld messages in %lld batches in %.0f s\n", store.Kind(),
               static_cast<long long>(messages), static_cast<long long>(batches),
               std::chrono::duration<double>(Clock::now() - start).count());
  return true;
}

void View(benchmark::State& state, Store* store, std::string view) {
  ReportFilter filter;
  filter.view = view;
  const std::string today = ReportFilter::Today();
  size_t bytes = 0;
  for (auto _ : state) {
    Report report;
    std::string error;
    if (!Report::Load(*store, filter, today, report, error)) {
      state.SkipWithError(error.c_str());
      break;
    }
    bytes = HtmlReport::Render(report).size();
  }
  state.counters["page_kB"] = static_cast<double>(bytes) / 1000;
}

std::string PostgresDatabase(const std::string& dir) {
  std::string conninfo;
  std::getline(std::ifstream(dir + "/conninfo"), conninfo);
  const std::string name = "qz_report_bench";
  PGconn* conn = PQconnectdb((conninfo + " dbname=postgres").c_str());
  PQclear(PQexec(conn, ("CREATE DATABASE " + name).c_str()));  // fails harmlessly when it exists
  PQfinish(conn);
  return conninfo + " dbname=" + name;
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  const char* wanted = std::getenv("QZ_BENCH_MESSAGES");
  const int64_t messages = wanted != nullptr ? std::atoll(wanted) : 1000000;
  const int64_t now = std::chrono::duration_cast<std::chrono::milliseconds>(
                          std::chrono::system_clock::now().time_since_epoch()).count();
  const int64_t today = now - now % kDay;
  std::string folder;
  if (const char* dir = std::getenv("QZ_BENCH_REPORT_DIR")) {
    folder = dir;
  } else {
    char made[] = "/tmp/qz-report-bench-XXXXXX";
    if (mkdtemp(made) == nullptr) return 1;
    folder = made;
  }
  std::vector<std::pair<std::string, std::unique_ptr<Store>>> stores;
  std::string error;
  auto sqlite = Store::Open(folder + "/report.db", "", true, error);
  if (!sqlite) {
    std::fprintf(stderr, "%s\n", error.c_str());
    return 1;
  }
  stores.emplace_back("sqlite", std::move(sqlite));
  if (const char* dir = std::getenv("QZ_BENCH_POSTGRES_DIR")) {
    auto postgres = Store::Open("", PostgresDatabase(dir), false, error);
    if (!postgres) {
      std::fprintf(stderr, "%s\n", error.c_str());
      return 1;
    }
    stores.emplace_back("postgresql", std::move(postgres));
  }
  for (auto& s : stores) {
    if (!Fill(*s.second, messages, today)) return 1;
    for (const std::string& view : ReportFilter::Views()) {
      benchmark::RegisterBenchmark((s.first + "/" + view).c_str(), View, s.second.get(), view)
          ->Unit(benchmark::kMillisecond)
          ->MinTime(2.0);
    }
  }
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
