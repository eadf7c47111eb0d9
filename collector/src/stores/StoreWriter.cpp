#include "stores/StoreWriter.h"

#include <time.h>

#include "common/Log.h"

namespace qz {
namespace collector {

namespace {

// Enough to amortise a sync, small enough to keep one transaction short.
constexpr size_t kMaxGroup = 256;

int64_t ThreadMicros() {
  timespec t{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return static_cast<int64_t>(t.tv_sec) * 1000000 + t.tv_nsec / 1000;
}

}  // namespace

StoreWriter::StoreWriter(Store& store, size_t maxPending) : store(store), maxPending(maxPending) {
  // Every member is ready before the thread sees this object.
  thread = std::thread(&StoreWriter::Loop, this);
}

StoreWriter::~StoreWriter() { Stop(); }

bool StoreWriter::Submit(Rows rows, Done done) {
  std::lock_guard<std::mutex> hold(lock);
  if (stopping || queue.size() >= maxPending) return false;
  queue.push_back(Pending{std::move(rows), std::move(done), nullptr});
  wake.notify_one();
  return true;
}

bool StoreWriter::Run(Task task) {
  std::lock_guard<std::mutex> hold(lock);
  if (stopping) return false;
  queue.push_back(Pending{Rows(), nullptr, std::move(task)});
  wake.notify_one();
  return true;
}

void StoreWriter::Stop() {
  {
    std::lock_guard<std::mutex> hold(lock);
    stopping = true;
  }
  wake.notify_one();
  if (thread.joinable()) thread.join();
}

void StoreWriter::Loop() {
  for (;;) {
    std::deque<Pending> group;
    Task task;
    {
      std::unique_lock<std::mutex> hold(lock);
      wake.wait(hold, [&] { return stopping || !queue.empty(); });
      if (queue.empty()) return;  // stopping, and nothing left
      if (queue.front().task) {
        task = std::move(queue.front().task);
        queue.pop_front();
      } else {
        while (!queue.empty() && !queue.front().task && group.size() < kMaxGroup) {
          group.push_back(std::move(queue.front()));
          queue.pop_front();
        }
      }
    }
    const int64_t start = ThreadMicros();
    if (task) {
      task(store);
    } else {
      WriteGroup(group);
    }
    busyMicros.fetch_add(ThreadMicros() - start, std::memory_order_relaxed);
  }
}

void StoreWriter::WriteGroup(std::deque<Pending>& group) {
  std::vector<const Rows*> all;
  for (const Pending& p : group) all.push_back(&p.rows);
  std::string error;
  const WriteStatus status = store.Write(all, error);
  if (status != WriteStatus::Refused || group.size() == 1) {
    if (status == WriteStatus::Stored) stored.fetch_add(static_cast<int64_t>(group.size()), std::memory_order_relaxed);
    if (status != WriteStatus::Stored) {
      Log::Error("StoreWriter", std::to_string(group.size()) + " batches not stored: " + error);
    }
    for (Pending& p : group) p.done(status, error);
    return;
  }
  for (Pending& p : group) {
    std::string own;
    const WriteStatus alone = store.Write({&p.rows}, own);
    if (alone == WriteStatus::Stored) stored.fetch_add(1, std::memory_order_relaxed);
    if (alone != WriteStatus::Stored) Log::Error("StoreWriter", "batch not stored: " + own);
    p.done(alone, own);
  }
}

}  // namespace collector
}  // namespace qz
