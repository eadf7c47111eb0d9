// qz-collector under load: batches of 20 messages posted over loopback HTTP
// by several connections at once to an in-process collector. The figure is
// batches stored per second ("batches/s"): every post waits for its 204,
// which comes only once the batch is committed. SQLite always; PostgreSQL
// when QZ_BENCH_POSTGRES holds a connection string.
//
//   qz_collector_bench [--benchmark_filter=sqlite]
#include <benchmark/benchmark.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "TestBatches.h"
#include "TestHttp.h"
#include "server/Collector.h"

namespace {

using namespace qz::collector;

constexpr int kBatches = 6000;

// Processor time of the whole process so far (user and system).
double CpuSeconds() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
         static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

// A batch of 20: a session start, ten ticks with properties, four start/stop
// pairs and a probe. Every batch and message id is new.
std::string Request(int n, int tag) {
  test::TestBatch b(n);
  b.id = test::Guid(n, tag);
  const auto id = [&](int m) { return test::Guid(n * 32 + m, tag + 1); };
  b.messages.push_back(test::SessionStart(id(0), b.group, 0));
  for (int m = 1; m <= 10; ++m) {
    b.messages.push_back(test::Feature(id(m), b.group, m, id(m), "Zoom", "tick",
                                       "<property name=\"level\" value=\"" + std::to_string(m * 10) +
                                           "\" type=\"decimal\"/>\n<property name=\"view\" value=\"page &amp; ruler\"/>\n"));
  }
  for (int m = 11; m <= 17; m += 2) {
    b.messages.push_back(test::Feature(id(m), b.group, m, id(m), "Export", "start"));
    b.messages.push_back(test::Feature(id(m + 1), b.group, m + 500, id(m), "Export", "stop"));
  }
  b.messages.push_back(test::Probe(id(19), b.group, 19, "Load", 120, 35));
  return b.Request();
}

void Load(benchmark::State& state, bool postgres) {
  const int connections = static_cast<int>(state.range(0));
  const bool keepAlive = state.range(1) != 0;
  CollectorOptions options;
  if (postgres) {
    const char* connection = std::getenv("QZ_BENCH_POSTGRES");
    if (connection == nullptr) return state.SkipWithError("set QZ_BENCH_POSTGRES to a connection string");
    options.postgres = connection;
  }
  char folder[] = "/tmp/qz-collector-bench-XXXXXX";
  if (mkdtemp(folder) == nullptr) return state.SkipWithError("no temporary folder");
  options.sqlitePath = std::string(folder) + "/bench.db";
  options.httpPort = 0;
  options.httpsPort = -1;
  options.limits.workers = static_cast<size_t>(connections);
  Collector collector(options);
  std::string error;
  if (!collector.Start(error)) return state.SkipWithError(error.c_str());

  // New ids for every run, so that nothing is a repeat.
  const int tag = static_cast<int>(std::chrono::steady_clock::now().time_since_epoch().count() & 0xFFFFFF);
  std::vector<std::string> requests;
  for (int i = 0; i < kBatches; ++i) requests.push_back(Request(i, tag));

  std::atomic<int> refused{0};
  const double cpuBefore = CpuSeconds();
  for (auto _ : state) {
    std::atomic<int> next{0};
    std::vector<std::thread> clients;
    for (int c = 0; c < connections; ++c) {
      clients.emplace_back([&] {
        int fd = -1;
        for (int i = next++; i < kBatches; i = next++) {
          // A kept-alive connection the collector has closed is opened again, once.
          int status = 0;
          for (int attempt = 0; attempt < 2 && status == 0; ++attempt) {
            if (fd < 0) fd = test::Connect(collector.HttpPort(), 30000);
            if (fd >= 0 && test::SendAll(fd, requests[static_cast<size_t>(i)])) status = test::ReadAnswer(fd).status;
            if (!keepAlive || status == 0) {
              if (fd >= 0) ::close(fd);
              fd = -1;
            }
          }
          if (status != 204) ++refused;
        }
        if (fd >= 0) ::close(fd);
      });
    }
    for (std::thread& t : clients) t.join();
  }
  state.counters["batches/s"] = benchmark::Counter(kBatches, benchmark::Counter::kIsRate);
  // Wall-clock rates depend on what else the machine runs; the processor time
  // per batch (collector and load generator together) does much less.
  state.counters["cpu_us/batch"] = (CpuSeconds() - cpuBefore) * 1e6 / kBatches;
  state.counters["refused"] = refused.load();
  collector.Stop();
  std::system((std::string("rm -rf ") + folder).c_str());
}

}  // namespace

// Arguments: connections, keep-alive (the library opens a connection per post).
BENCHMARK_CAPTURE(Load, sqlite, false)
    ->ArgsProduct({{4, 16}, {1, 0}})
    ->ArgNames({"connections", "keepalive"})
    ->Iterations(1)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Load, postgres, true)
    ->ArgsProduct({{4, 16}, {1, 0}})
    ->ArgNames({"connections", "keepalive"})
    ->Iterations(1)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
