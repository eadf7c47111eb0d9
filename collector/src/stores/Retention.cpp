#include "stores/Retention.h"

#include "common/Log.h"

namespace qz {
namespace collector {

namespace {

// Messages per step: a transaction of a few milliseconds.
constexpr size_t kStep = 500;
// The first pass waits this long, so that a start is not slowed by it.
constexpr std::chrono::seconds kFirstPass(2);

}  // namespace

Retention::Retention(StoreWriter& writer, int days, std::chrono::milliseconds interval)
    : writer(writer), days(days), interval(interval) {
  thread = std::thread(&Retention::Loop, this);
}

Retention::~Retention() { Stop(); }

void Retention::Stop() {
  {
    std::lock_guard<std::mutex> hold(lock);
    stopping = true;
  }
  wake.notify_all();
  if (thread.joinable()) thread.join();
}

int64_t Retention::Deleted() const {
  std::lock_guard<std::mutex> hold(lock);
  return deletedTotal;
}

bool Retention::Step(int64_t& deleted) {
  const int64_t now = std::chrono::duration_cast<std::chrono::milliseconds>(
                          std::chrono::system_clock::now().time_since_epoch())
                          .count();
  const int64_t cutoff = now - static_cast<int64_t>(days) * 86400000;
  bool done = false, ok = false;
  std::string error;
  const bool queued = writer.Run([&](Store& store) {
    int64_t n = 0;
    std::string e;
    const bool stepped = store.Expire(cutoff, kStep, n, e);
    std::lock_guard<std::mutex> hold(lock);
    ok = stepped;
    deleted = n;
    error = e;
    done = true;
    wake.notify_all();
  });
  if (!queued) return false;
  // The writer runs every task it took, even while stopping.
  std::unique_lock<std::mutex> hold(lock);
  wake.wait(hold, [&] { return done; });
  if (!ok) Log::Error("Retention", "expiry failed: " + error);
  return ok;
}

void Retention::Loop() {
  std::chrono::milliseconds wait = std::min<std::chrono::milliseconds>(kFirstPass, interval);
  for (;;) {
    {
      std::unique_lock<std::mutex> hold(lock);
      if (wake.wait_for(hold, wait, [&] { return stopping; })) return;
    }
    wait = interval;
    int64_t pass = 0, deleted = 0;
    while (Step(deleted) && deleted > 0) {
      pass += deleted;
      std::lock_guard<std::mutex> hold(lock);
      deletedTotal += deleted;
      if (stopping) return;
    }
    if (pass > 0) {
      Log::Note("Retention", "deleted " + std::to_string(pass) + " messages and batches older than " +
                                 std::to_string(days) + " days");
    }
  }
}

}  // namespace collector
}  // namespace qz
