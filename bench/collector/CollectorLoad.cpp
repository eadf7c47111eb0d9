// qz-collector under load from a generator of its own process, as the
// library's clients would load it: batches as the library writes them (30
// messages, 14.8 KB, every id new) posted over HTTPS by 16 clients at once
// (QZ_BENCH_CLIENTS for another number), each waiting for its 204 (which
// comes only once the batch is synced to disk). Three ways to connect: a new
// connection and full handshake per post, kept-alive connections, and a new
// connection per post that resumes the client's last TLS session. The
// collector (the program beside this one, or $QZ_COLLECTOR) is started anew
// for each row, on SQLite in a temporary folder, or on PostgreSQL when
// QZ_BENCH_POSTGRES_DIR names a server that collector/tests/postgres.sh
// started (its processor time is counted too).
// The rows ".../reports:1" and ".../reports:2" post the same way while 16
// other clients reload the report from its own listener without pause: the
// five views in turn (served from the report's cache most of the time), or
// each time another range of days (never from the cache). With
// QZ_BENCH_SEED_DB (an SQLite file, such as the one qz_report_bench fills)
// the SQLite rows start from a copy of it, so that the report reads a
// million messages. QZ_BENCH_OLD_COLLECTOR=1 runs a collector from before
// the report's listener (as $QZ_COLLECTOR), for comparison.
//
//   qz_collector_bench [--benchmark_filter=sqlite]
#include <benchmark/benchmark.h>
#include <dirent.h>
#include <libpq-fe.h>
#include <openssl/ssl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <ctime>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "TestBatches.h"
#include "TestHttp.h"

namespace {

using namespace qz::collector;
using Clock = std::chrono::steady_clock;

// Posting clients, as many hosts posting at once: each group commit takes
// what arrived while the one before it synced, so more clients make larger
// groups until the writer's own work per batch is the limit.
constexpr int kClients = 16;
// Clients reloading the report.
constexpr int kReaders = 16;

int Clients() {
  const char* n = std::getenv("QZ_BENCH_CLIENTS");
  return n != nullptr && std::atoi(n) > 0 ? std::atoi(n) : kClients;
}
constexpr double kSeconds = 6.0;
constexpr int kMessages = 30;
// Enough requests made up front for the fastest row; the generator's
// processor time is then only what posting costs.
constexpr int kRequests = 40000;

enum Connect { kNewConnection, kKeptAlive, kResumed };

double CpuSeconds() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
         static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

// User and system time of a process, from /proc.
double ProcessCpuSeconds(pid_t pid) {
  std::ifstream in("/proc/" + std::to_string(pid) + "/stat");
  std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  const size_t close = text.rfind(')');
  if (close == std::string::npos) return 0;
  std::istringstream fields(text.substr(close + 2));
  std::string skip;
  for (int i = 0; i < 11; ++i) fields >> skip;  // state ... cmajflt
  double user = 0, system = 0;
  fields >> user >> system;
  return (user + system) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

// A process and its children (a PostgreSQL server and its backends).
double TreeCpuSeconds(pid_t root) {
  double total = ProcessCpuSeconds(root);
  DIR* proc = opendir("/proc");
  while (dirent* e = proc != nullptr ? readdir(proc) : nullptr) {
    const pid_t pid = std::atoi(e->d_name);
    if (pid <= 0) continue;
    std::ifstream in(std::string("/proc/") + e->d_name + "/stat");
    std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    const size_t close = text.rfind(')');
    if (close == std::string::npos) continue;
    std::istringstream fields(text.substr(close + 2));
    std::string state;
    pid_t parent = 0;
    fields >> state >> parent;
    if (parent == root) total += ProcessCpuSeconds(pid);
  }
  if (proc != nullptr) closedir(proc);
  return total;
}

std::string Collector() {
  if (const char* path = std::getenv("QZ_COLLECTOR")) return path;
  char self[4096];
  const ssize_t n = readlink("/proc/self/exe", self, sizeof self - 1);
  std::string path(self, n > 0 ? static_cast<size_t>(n) : 0);
  return path.substr(0, path.rfind('/') + 1) + "qz-collector";
}

// One client: a connection that posts and reads the answer, made anew for
// each post unless kept alive.
class Client {
 public:
  Client(int port, Connect mode, std::atomic<int>& resumed) : port(port), mode(mode), resumed(resumed) {}
  ~Client() { SSL_SESSION_free(session); }
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  bool Post(const std::string& request) {
    if (!connection) {
      connection = std::make_unique<test::TlsClient>();
      if (!connection->Connect(port, 30000, session)) {
        connection.reset();
        return false;
      }
      if (connection->Resumed()) ++resumed;
    }
    const int status = connection->SendAll(request) ? connection->ReadAnswer().status : 0;
    if (mode == kResumed && status == 204) {
      SSL_SESSION_free(session);
      session = connection->Session();
      connection->Close();
    }
    if (mode != kKeptAlive || status != 204) connection.reset();
    return status == 204;
  }

 private:
  const int port;
  const Connect mode;
  std::atomic<int>& resumed;
  SSL_SESSION* session = nullptr;
  std::unique_ptr<test::TlsClient> connection;
};

struct Server {
  pid_t pid = 0;
  int port = 0;
  int reportPort = 0;
  std::string log;
};

enum Reports { kNoReports, kCachedReports, kUncachedReports };

// A client of the report that reloads it until stopped; reloads counts the pages.
void Reload(int port, Reports mode, int client, const std::atomic<bool>& stop, std::atomic<int>& reloads,
            std::atomic<int>& failed) {
  static const char* const views[] = {"overview", "features", "stability", "performance", "machines"};
  std::unique_ptr<test::TlsClient> connection;
  for (int n = 0; !stop; ++n) {
    if (!connection) {
      connection = std::make_unique<test::TlsClient>();
      if (!connection->Connect(port, 30000)) {
        connection.reset();
        ++failed;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        continue;
      }
    }
    std::string target = std::string("/?view=") + views[(n + client) % 5];
    if (mode == kUncachedReports) {
      // Another first day each time: nothing to take from the cache.
      const int back = 30 + (n * 16 + client) % 3000;
      const auto now = std::chrono::system_clock::now() - std::chrono::hours(24 * back);
      const std::time_t t = std::chrono::system_clock::to_time_t(now);
      char day[16];
      std::strftime(day, sizeof day, "%Y-%m-%d", std::gmtime(&t));
      target += std::string("&from=") + day;
    }
    const bool ok = connection->SendAll("GET " + target + " HTTP/1.1\r\nHost: x\r\n\r\n") &&
                    connection->ReadAnswer().status == 200;
    (ok ? reloads : failed)++;
    if (!ok) connection.reset();
  }
}

Server StartCollector(const std::string& folder, const std::string& postgres) {
  Server s;
  s.log = folder + "/collector.log";
  const std::string ports = folder + "/ports";
  std::vector<std::string> args = {Collector(), "serve", "--https-port", "0", "--ports-file", ports,
                                   "--cert", folder + "/cert.pem", "--key", folder + "/key.pem"};
  // A collector from before the report's listener (to compare with) knows no such option.
  if (std::getenv("QZ_BENCH_OLD_COLLECTOR") == nullptr) args.insert(args.end(), {"--report-listen", "127.0.0.1:0"});
  if (postgres.empty()) {
    if (const char* seed = std::getenv("QZ_BENCH_SEED_DB")) {
      std::system(("cp '" + std::string(seed) + "' '" + folder + "/bench.db'").c_str());
    }
    args.insert(args.end(), {"--db", folder + "/bench.db", "--create"});
  } else {
    args.insert(args.end(), {"--postgres", postgres});
  }
  s.pid = fork();
  if (s.pid == 0) {
    std::freopen(s.log.c_str(), "w", stderr);
    std::vector<char*> argv;
    for (std::string& a : args) argv.push_back(&a[0]);
    argv.push_back(nullptr);
    execv(argv[0], argv.data());
    _exit(127);
  }
  // "HTTP HTTPS REPORT" once listening ("HTTP HTTPS" from an older one); there is no HTTP port.
  int http = 0;
  for (int i = 0; i < 6000 && !(std::ifstream(ports) >> http >> s.port); ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  std::ifstream(ports) >> http >> http >> s.reportPort;
  return s;
}

// The collector's own account of where its time went, from its last line.
std::string Breakdown(const std::string& log) {
  std::ifstream in(log);
  std::string line, found;
  while (std::getline(in, line)) {
    if (line.find("processor time per batch") != std::string::npos) found = line;
  }
  return found;
}

double Figure(const std::string& line, const std::string& before) {
  const size_t at = line.find(before);
  return at == std::string::npos ? 0 : std::atof(line.c_str() + at + before.size());
}

// A new database on the server postgres.sh started, and the server's process.
std::string NewPostgresDatabase(const std::string& dir, pid_t& server) {
  std::string conninfo, data;
  std::getline(std::ifstream(dir + "/conninfo"), conninfo);
  std::getline(std::ifstream(dir + "/datadir"), data);
  std::ifstream(data + "/db/postmaster.pid") >> server;
  static int counter = 0;
  const std::string name = "qz_bench_" + std::to_string(getpid()) + "_" + std::to_string(counter++);
  PGconn* conn = PQconnectdb((conninfo + " dbname=postgres").c_str());
  PQclear(PQexec(conn, ("CREATE DATABASE " + name).c_str()));
  PQfinish(conn);
  return conninfo + " dbname=" + name;
}

void Load(benchmark::State& state, bool postgres) {
  const Connect mode = static_cast<Connect>(state.range(0));
  const Reports reports = static_cast<Reports>(state.range(1));
  const char* postgresDir = std::getenv("QZ_BENCH_POSTGRES_DIR");
  if (postgres && postgresDir == nullptr) {
    state.SkipWithError("set QZ_BENCH_POSTGRES_DIR to a folder of collector/tests/postgres.sh");
    for (auto _ : state) {
    }
    return;
  }
  char dir[] = "/tmp/qz-collector-bench-XXXXXX";
  if (mkdtemp(dir) == nullptr) return state.SkipWithError("no temporary folder");
  pid_t database = 0;
  const std::string connection = postgres ? NewPostgresDatabase(postgresDir, database) : "";
  Server server = StartCollector(dir, connection);
  if (server.port <= 0) {
    kill(server.pid, SIGKILL);
    waitpid(server.pid, nullptr, 0);
    return state.SkipWithError("the collector did not start");
  }

  static int made = 0;
  std::vector<std::string> requests;
  requests.reserve(kRequests);
  for (int i = 0; i < kRequests; ++i) requests.push_back(test::LibraryBatch(++made).Request());

  for (auto _ : state) {
    std::atomic<int> next{0}, stored{0}, failed{0}, resumed{0};
    std::atomic<bool> stop{false};
    const double cpu0 = CpuSeconds();
    const double collector0 = ProcessCpuSeconds(server.pid);
    const double database0 = postgres ? TreeCpuSeconds(database) : 0;
    const auto start = Clock::now();
    std::atomic<int> reloads{0}, reloadsFailed{0};
    std::vector<std::thread> readers;
    for (int c = 0; reports != kNoReports && c < kReaders; ++c) {
      readers.emplace_back(Reload, server.reportPort, reports, c, std::cref(stop), std::ref(reloads), std::ref(reloadsFailed));
    }
    std::vector<std::thread> clients;
    for (int c = 0; c < Clients(); ++c) {
      clients.emplace_back([&] {
        Client client(server.port, mode, resumed);
        while (!stop) {
          const int n = next++;
          if (n >= kRequests) break;
          (client.Post(requests[static_cast<size_t>(n)]) ? stored : failed)++;
        }
      });
    }
    while (Clock::now() - start < std::chrono::duration<double>(kSeconds) && next < kRequests) {
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    stop = true;
    for (std::thread& t : clients) t.join();
    // Measured before the report's clients finish their last page, which may
    // take seconds: the figures are ingestion's.
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    state.SetIterationTime(seconds);
    const double batches = stored.load();
    const double generator = CpuSeconds() - cpu0;
    const double collector = ProcessCpuSeconds(server.pid) - collector0;
    const double db = postgres ? TreeCpuSeconds(database) - database0 : 0;
    const int pages = reloads.load();
    for (std::thread& t : readers) t.join();
    state.counters["batches/s"] = batches / seconds;
    state.counters["messages/s"] = batches * kMessages / seconds;
    state.counters["failed"] = failed.load();
    state.counters["clients"] = Clients();
    state.counters["resumed"] = resumed.load();
    if (reports != kNoReports) {
      state.counters["reloads/s"] = pages / seconds;
      state.counters["reloads_failed"] = reloadsFailed.load();
    }
    state.counters["cpu_us/batch"] = (generator + collector + db) * 1e6 / batches;
    state.counters["collector_us"] = collector * 1e6 / batches;
    state.counters["generator_us"] = generator * 1e6 / batches;
    if (postgres) state.counters["postgres_us"] = db * 1e6 / batches;
  }
  kill(server.pid, SIGTERM);
  waitpid(server.pid, nullptr, 0);
  const std::string line = Breakdown(server.log);
  state.counters["checking_us"] = Figure(line, "checking ");
  state.counters["storing_us"] = Figure(line, "storing ");
  std::system((std::string("rm -rf ") + dir).c_str());
}

void Sqlite(benchmark::State& state) { Load(state, false); }
void Postgres(benchmark::State& state) { Load(state, true); }

// Args: 0 a new connection and full handshake per post, 1 kept-alive
// connections, 2 a new connection per post that resumes the client's last
// TLS session;
// 0 no report, 1 16 clients reloading the report's views, 2 the same with a
// new range each time.
BENCHMARK(Sqlite)->Name("sqlite/https")->ArgNames({"kept", "reports"})->Args({0, 0})->Args({1, 0})->Args({2, 0})->Args({1, 1})
    ->Args({1, 2})->Iterations(1)->UseManualTime()->Unit(benchmark::kSecond);
BENCHMARK(Postgres)->Name("postgres/https")->ArgNames({"kept", "reports"})->Args({0, 0})->Args({1, 0})->Args({2, 0})->Args({1, 1})
    ->Args({1, 2})->Iterations(1)->UseManualTime()->Unit(benchmark::kSecond);

}  // namespace
