// A probe on a machine whose every processor is busy reports it, even the
// first probe of a run, through the whole library to the loopback receiver.
#include <gtest/gtest.h>

#include <sched.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "platform/PosixLoadSampler.h"
#include "qz/API.h"
#include "qz/Configuration.h"
#include "support/Receiver.h"
#include "support/TestText.h"

namespace qz {
namespace {

// Keeps every processor busy while it lives.
class BusyProcessors {
 public:
  explicit BusyProcessors(size_t count) : spins(count) {
    for (auto& counter : spins) {
      threads.emplace_back([this, &counter] {
        while (!stop.load(std::memory_order_relaxed)) {
          counter.fetch_add(1, std::memory_order_relaxed);
        }
      });
    }
  }
  ~BusyProcessors() {
    stop.store(true);
    for (std::thread& t : threads) t.join();
  }
  // Every thread has run; from now on none stops until told to.
  bool AllSpinning() const {
    return std::all_of(spins.begin(), spins.end(),
                       [](const std::atomic<uint64_t>& c) { return c.load() > 0; });
  }

 private:
  std::atomic<bool> stop{false};
  std::vector<std::atomic<uint64_t>> spins;
  std::vector<std::thread> threads;
};

const ExtendedKeys* const kNoKeys = nullptr;

template <typename Condition>
bool WaitUntil(Condition condition) {
  const auto give_up = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > give_up) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return true;
}

TEST(PosixProbeUnderLoadTest, TheFirstProbeOfARunCarriesTheLoadOfABusyMachine) {
  API::ApplicationStop(kNoKeys);
  test::Receiver receiver;
  std::string why;
  if (!receiver.Connect(&why)) GTEST_SKIP() << why;
  ASSERT_TRUE(receiver.Reset());
  const long processors = std::max(2L, sysconf(_SC_NPROCESSORS_ONLN));
  cpu_set_t allowed;
  if (sched_getaffinity(0, sizeof allowed, &allowed) == 0 && CPU_COUNT(&allowed) < processors) {
    GTEST_SKIP() << "this process may not use every processor";
  }

  PosixLoadSampler& sampler = PosixLoadSampler::Instance();
  uint64_t before = 0;
  {
    BusyProcessors busy(static_cast<size_t>(processors));
    ASSERT_TRUE(WaitUntil([&] { return busy.AllSpinning(); }));
    before = sampler.Attempts();

    Configuration config;
    config.SetCompanyID(QZ_TEXT("9531985D-5D9D-49F8-9818-E811892F902B"));
    config.SetApplicationID(QZ_TEXT("36F675CC-81E7-4EF5-A8E2-5D940ED90475"));
    config.SetSupportOfflineStorage(false);
    config.SetUseSSL(false);
    config.SetEndpointLocation(test::W(receiver.Location(false, "/qz").c_str()).c_str());
    ASSERT_TRUE(API::ApplicationStart(&config, kNoKeys));
    // The run's thread samples once a second; with three samples taken since
    // the processors became busy, the probe's window holds nothing else,
    // however slowly this machine runs the test.
    ASSERT_TRUE(WaitUntil([&] { return sampler.Attempts() >= before + 3; }));
    API::PerformanceProbe(QZ_TEXT("Busy"), kNoKeys);
    API::ApplicationStop(kNoKeys);
  }

  std::string bodies;
  for (int i = 0; i < receiver.Count(); ++i) {
    test::RecordedRequest request;
    ASSERT_TRUE(receiver.Request(i, request));
    bodies += request.body;
  }
  std::smatch load;
  ASSERT_TRUE(std::regex_search(bodies, load, std::regex("<cpu utilization=\"([0-9]+)\"/>")))
      << bodies;
  EXPECT_GT(std::stoi(load[1]), 50) << load[0];
}

}  // namespace
}  // namespace qz
