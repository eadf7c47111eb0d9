// What one call costs the host: every call timed on its own, in bursts of 20
// with a pause between bursts, while a started run posts to a loopback
// endpoint, so the transmitter thread really runs beside the host.
//
//   qz_latency --endpoint HOST:PORT/PATH [--bursts N] [--pause-us N] [--case NAME,...]
//              [--threads 1,2] [--idle SECONDS]
//
// Prints Markdown table rows: case, host threads, p50, p99 and p99.9 in
// microseconds, heap allocations and bytes per call on the calling thread;
// on standard error, which thread measured what.
// The program uses only the public headers and the shared library, as a host
// does. The yardstick (built when spdlog is found) hands the same six values
// to spdlog's asynchronous logger, whose null sink runs on a thread of its own.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <functional>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "System.h"
#include "qz/qz.h"

#ifdef QZ_BENCH_YARDSTICK
#include <spdlog/async.h>
#include <spdlog/async_logger.h>
#include <spdlog/sinks/null_sink.h>
#endif

// Counting allocator: every operator new of this thread, the library's too
// where it shares the program's heap (not in a Windows DLL, which carries its
// own C++ runtime).
namespace {
thread_local uint64_t t_allocations = 0;
thread_local uint64_t t_allocatedBytes = 0;

void* CountedAllocate(std::size_t size) {
  ++t_allocations;
  t_allocatedBytes += size;
  void* p = std::malloc(size == 0 ? 1 : size);
  if (p == nullptr) throw std::bad_alloc();
  return p;
}
}  // namespace

void* operator new(std::size_t size) { return CountedAllocate(size); }
void* operator new[](std::size_t size) { return CountedAllocate(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  try {
    return CountedAllocate(size);
  } catch (...) {
    return nullptr;
  }
}
void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept {
  return operator new(size, tag);
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { std::free(p); }

namespace {

using Clock = std::chrono::steady_clock;
using Text = std::basic_string<QZChar>;

constexpr int kBurst = 20;

Text Widen(const char* text) {
  Text out;
  for (const char* p = text; *p != 0; ++p) out.push_back(static_cast<QZChar>(*p));
  return out;
}

// The objects a host passes: a BinaryInfo of four texts and two 24-character
// text properties, the shape the figures in the README were taken with.
struct Event {
  qz::BinaryInfo info;
  qz::ExtendedKeys keys;
  qz::ExceptionInfo exception;
  Event() {
    info.SetName(QZ_TEXT("editor.exe"));
    info.SetVersion(QZ_TEXT("2.1.0.417"));
    info.SetClassName(QZ_TEXT("DocumentView"));
    info.SetMethodName(QZ_TEXT("OnExport"));
    keys.Add(QZ_TEXT("format"), QZ_TEXT("PDF/A archival, 300 dpi."));
    keys.Add(QZ_TEXT("target"), QZ_TEXT("\\\\server\\share\\out-1.pdf"));
    exception.Thrown().Type(QZ_TEXT("IOException")).Message(QZ_TEXT("disk full while saving"));
  }
};

struct Samples {
  std::vector<uint32_t> nanoseconds;
  uint64_t calls = 0;
  uint64_t allocations = 0;
  uint64_t bytes = 0;

  void Add(const Samples& other) {
    nanoseconds.insert(nanoseconds.end(), other.nanoseconds.begin(), other.nanoseconds.end());
    calls += other.calls;
    allocations += other.allocations;
    bytes += other.bytes;
  }
};

// One measured call: returns which sample set it belongs to (0 or 1), so a
// case can time two operations that must alternate (a start and its stop).
using Call = std::function<int(Event&, int)>;

struct Case {
  const char* name;    // for --case
  const char* labels[2];  // row labels of sample sets 0 and 1
  std::function<Call(int thread)> make;
};

void Record(Samples& s, Clock::duration elapsed, uint64_t allocations, uint64_t bytes) {
  const auto ns = std::chrono::duration_cast<std::chrono::nanoseconds>(elapsed).count();
  s.nanoseconds.push_back(static_cast<uint32_t>(std::min<long long>(ns, UINT32_MAX)));
  ++s.calls;
  s.allocations += allocations;
  s.bytes += bytes;
}

void RunBursts(const Call& call, int bursts, int pauseMicros, Samples (&out)[2]) {
  Event event;
  // Warm-up: first-use costs (pages, caches, lazily made objects) stay out.
  for (int i = 0; i < 4 * kBurst; ++i) call(event, i);
  for (int b = 0; b < bursts; ++b) {
    for (int i = 0; i < kBurst; ++i) {
      const uint64_t a0 = t_allocations;
      const uint64_t b0 = t_allocatedBytes;
      const Clock::time_point t0 = Clock::now();
      const int set = call(event, i);
      const Clock::time_point t1 = Clock::now();
      Record(out[set], t1 - t0, t_allocations - a0, t_allocatedBytes - b0);
    }
    std::this_thread::sleep_for(std::chrono::microseconds(pauseMicros));
  }
}

double Percentile(std::vector<uint32_t>& sorted, double fraction) {
  if (sorted.empty()) return 0;
  size_t index = static_cast<size_t>(fraction * static_cast<double>(sorted.size() - 1) + 0.5);
  return sorted[std::min(index, sorted.size() - 1)] / 1000.0;
}

void PrintRow(const char* label, int threads, Samples& s, bool countsKnown) {
  std::sort(s.nanoseconds.begin(), s.nanoseconds.end());
  char allocations[32] = "n/a";
  char bytes[32] = "n/a";
  if (countsKnown && s.calls > 0) {
    std::snprintf(allocations, sizeof allocations, "%.1f",
                  static_cast<double>(s.allocations) / static_cast<double>(s.calls));
    std::snprintf(bytes, sizeof bytes, "%.0f",
                  static_cast<double>(s.bytes) / static_cast<double>(s.calls));
  }
  std::printf("| %s | %d | %.2f | %.2f | %.2f | %s | %s |\n", label, threads,
              Percentile(s.nanoseconds, 0.50), Percentile(s.nanoseconds, 0.99),
              Percentile(s.nanoseconds, 0.999), allocations, bytes);
  std::fflush(stdout);
}

void Measure(const Case& c, int threads, int bursts, int pauseMicros, bool countsKnown) {
  std::vector<std::thread> workers;
  std::vector<Samples> results(static_cast<size_t>(threads) * 2);
  std::atomic<int> ready{0};
  for (int t = 0; t < threads; ++t) {
    workers.emplace_back([&, t] {
      Call call = c.make(t);
      Samples local[2];
      // For traces of system calls made by the measured threads alone.
      std::fprintf(stderr, "qz_latency: %s measured on thread %04llx\n", c.name,
                   static_cast<unsigned long long>(ThreadNumber()));
      ready.fetch_add(1);
      while (ready.load() < threads) std::this_thread::yield();
      RunBursts(call, bursts, pauseMicros, local);
      results[static_cast<size_t>(t) * 2] = std::move(local[0]);
      results[static_cast<size_t>(t) * 2 + 1] = std::move(local[1]);
    });
  }
  for (std::thread& w : workers) w.join();
  for (int set = 0; set < 2; ++set) {
    if (c.labels[set] == nullptr) continue;
    Samples merged;
    for (int t = 0; t < threads; ++t) merged.Add(results[static_cast<size_t>(t) * 2 + set]);
    PrintRow(c.labels[set], threads, merged, countsKnown);
  }
}

std::vector<Case> Cases() {
  static const QZChar kSession[] = QZ_TEXT("6B0D549B-6F03-475A-9600-A35A099950D8");
  std::vector<Case> cases;
  cases.push_back({"clock", {"(the clock alone)", nullptr}, [](int) {
                     return Call([](Event&, int) { return 0; });
                   }});
  // The system's share of a tick: its two heap blocks (the message and its
  // text, the sizes of the full tick) and, on Windows, its GUID.
  cases.push_back({"heap", {"(two heap blocks, 112 and 600 bytes)", nullptr}, [](int) {
                     return Call([](Event&, int) {
                       void* volatile message = std::malloc(112);
                       void* volatile text = std::malloc(600);
                       std::free(text);
                       std::free(message);
                       return 0;
                     });
                   }});
  if (MakeSystemGuid()) {
    cases.push_back({"guid", {"(a GUID from UuidCreateSequential and UuidToStringW)", nullptr},
                     [](int) {
                       return Call([](Event&, int) {
                         MakeSystemGuid();
                         return 0;
                       });
                     }});
  }
  cases.push_back({"tick", {"FeatureTick, name only", nullptr}, [](int) {
                     return Call([](Event&, int) {
                       qz::API::FeatureTick(QZ_TEXT("Zoom"), nullptr);
                       return 0;
                     });
                   }});
  cases.push_back({"tick-full", {"FeatureTick, BinaryInfo + 2 properties", nullptr}, [](int) {
                     return Call([](Event& e, int) {
                       qz::API::FeatureTick(QZ_TEXT("Export"), &e.info, &e.keys);
                       return 0;
                     });
                   }});
  cases.push_back({"start-stop",
                   {"FeatureStart, BinaryInfo + 2 properties", "FeatureStop, BinaryInfo + 2 properties"},
                   [](int thread) {
                     Text name = Widen(thread == 0 ? "Export" : "Print");
                     return Call([name](Event& e, int i) {
                       if (i % 2 == 0) {
                         qz::API::FeatureStart(name.c_str(), &e.info, &e.keys);
                         return 0;
                       }
                       qz::API::FeatureStop(name.c_str(), &e.info, &e.keys);
                       return 1;
                     });
                   }});
  cases.push_back({"session", {"SessionStart, BinaryInfo + 2 properties", nullptr}, [](int) {
                     return Call([](Event& e, int) {
                       qz::API::SessionStart(kSession, &e.info, &e.keys);
                       return 0;
                     });
                   }});
  cases.push_back({"exception", {"ReportException, BinaryInfo + 2 properties", nullptr}, [](int) {
                     return Call([](Event& e, int) {
                       qz::API::ReportException(e.exception, &e.info, &e.keys);
                       return 0;
                     });
                   }});
  cases.push_back({"probe", {"PerformanceProbe, BinaryInfo + 2 properties", nullptr}, [](int) {
                     return Call([](Event& e, int) {
                       qz::API::PerformanceProbe(QZ_TEXT("Render"), &e.info, &e.keys);
                       return 0;
                     });
                   }});
#ifdef QZ_BENCH_YARDSTICK
  // The same six values (the four texts of the BinaryInfo and the two
  // property values) handed to another thread by a fast asynchronous logger.
  cases.push_back({"yardstick", {"yardstick: spdlog async logger, null sink", nullptr}, [](int) {
                     static std::shared_ptr<spdlog::async_logger> logger = [] {
                       spdlog::init_thread_pool(8192, 1);
                       return std::make_shared<spdlog::async_logger>(
                           "yardstick", std::make_shared<spdlog::sinks::null_sink_mt>(),
                           spdlog::thread_pool(), spdlog::async_overflow_policy::overrun_oldest);
                     }();
                     return Call([](Event&, int) {
                       logger->info("feature Export {} {} {} {} {} {}", "editor.exe", "2.1.0.417",
                                    "DocumentView", "OnExport", "PDF/A archival, 300 dpi.",
                                    "\\\\server\\share\\out-1.pdf");
                       return 0;
                     });
                   }});
#endif
  return cases;
}

bool StartRun(const Text& endpoint) {
  qz::Configuration config;
  config.SetCompanyID(QZ_TEXT("9531985D-5D9D-49F8-9818-E811892F902B"));
  config.SetCompanyName(QZ_TEXT("Example & Sons"));
  config.SetApplicationID(QZ_TEXT("36F675CC-81E7-4EF5-A8E2-5D940ED90475"));
  config.SetApplicationName(QZ_TEXT("Editor"));
  config.SetEndpointLocation(endpoint.c_str());
  config.SetUseSSL(false);
  config.SetOptIn(true);
  return qz::API::ApplicationStart(&config, nullptr);
}

// Processor time of a started run left alone. std::clock is the process's
// processor time on Linux (on Windows it is wall time: the Windows run skips this).
void MeasureIdle(int seconds) {
  std::this_thread::sleep_for(std::chrono::seconds(1));
  const std::clock_t c0 = std::clock();
  const Clock::time_point t0 = Clock::now();
  std::this_thread::sleep_for(std::chrono::seconds(seconds));
  const double cpuMs = 1000.0 * static_cast<double>(std::clock() - c0) / CLOCKS_PER_SEC;
  const double wallMs =
      std::chrono::duration<double, std::milli>(Clock::now() - t0).count();
  std::printf("idle: %.1f ms of processor time in %.0f s (%.4f %% of a core)\n", cpuMs,
              wallMs / 1000.0, 100.0 * cpuMs / wallMs);
}

int Usage(const char* program) {
  std::fprintf(stderr,
               "usage: %s --endpoint HOST:PORT/PATH [--bursts N] [--pause-us N] [--case NAME,...]\n"
               "          [--threads 1,2] [--idle SECONDS]\n",
               program);
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  Text endpoint;
  int bursts = 1000;
  int pauseMicros = 1000;
  int idleSeconds = 0;
  std::string only;
  std::vector<int> threadCounts = {1, 2};
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if (i + 1 >= argc) return Usage(argv[0]);
    const char* value = argv[++i];
    if (arg == "--endpoint") {
      endpoint = Widen(value);
    } else if (arg == "--bursts") {
      bursts = std::max(1, std::atoi(value));
    } else if (arg == "--pause-us") {
      pauseMicros = std::max(0, std::atoi(value));
    } else if (arg == "--case") {
      only = value;
    } else if (arg == "--idle") {
      idleSeconds = std::max(1, std::atoi(value));
    } else if (arg == "--threads") {
      threadCounts.clear();
      for (const char* p = value; *p != 0; ++p) {
        if (*p >= '1' && *p <= '9') threadCounts.push_back(*p - '0');
      }
    } else {
      return Usage(argv[0]);
    }
  }
  if (endpoint.empty()) return Usage(argv[0]);
  if (!StartRun(endpoint)) {
    std::fprintf(stderr, "qz_latency: the run did not start\n");
    return 1;
  }
  if (idleSeconds > 0) {
    MeasureIdle(idleSeconds);
  } else {
    const bool countsKnown = QZ_BENCH_SHARED_HEAP != 0;
    for (const Case& c : Cases()) {
      if (!only.empty() && ("," + only + ",").find(std::string(",") + c.name + ",") == std::string::npos) {
        continue;
      }
      for (int threads : threadCounts) Measure(c, threads, bursts, pauseMicros, countsKnown);
    }
  }
  qz::API::ApplicationStop(nullptr);
  return 0;
}
