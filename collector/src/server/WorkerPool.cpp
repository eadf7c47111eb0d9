#include "server/WorkerPool.h"

#include <time.h>

namespace qz {
namespace collector {

namespace {

int64_t ThreadMicros() {
  timespec t{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return static_cast<int64_t>(t.tv_sec) * 1000000 + t.tv_nsec / 1000;
}

}  // namespace

WorkerPool::WorkerPool(size_t count, size_t maxQueued) : maxQueued(maxQueued) {
  for (size_t i = 0; i < count; ++i) threads.emplace_back(&WorkerPool::Work, this);
}

WorkerPool::~WorkerPool() { Stop(); }

bool WorkerPool::Post(std::function<void()> job) {
  {
    std::lock_guard<std::mutex> hold(lock);
    if (stopping || queue.size() >= maxQueued) return false;
    queue.push_back(std::move(job));
  }
  wake.notify_one();
  return true;
}

void WorkerPool::Stop() {
  {
    std::lock_guard<std::mutex> hold(lock);
    stopping = true;
  }
  wake.notify_all();
  for (std::thread& t : threads) {
    if (t.joinable()) t.join();
  }
}

void WorkerPool::Work() {
  for (;;) {
    std::function<void()> job;
    {
      std::unique_lock<std::mutex> hold(lock);
      wake.wait(hold, [&] { return stopping || !queue.empty(); });
      if (queue.empty()) return;
      job = std::move(queue.front());
      queue.pop_front();
    }
    const int64_t start = ThreadMicros();
    job();
    busyMicros.fetch_add(ThreadMicros() - start, std::memory_order_relaxed);
  }
}

}  // namespace collector
}  // namespace qz
