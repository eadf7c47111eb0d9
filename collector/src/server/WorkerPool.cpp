#include "server/WorkerPool.h"

namespace qz {
namespace collector {

namespace {

thread_local bool refusing = false;

}  // namespace

WorkerPool::WorkerPool(size_t count, size_t maxQueued) : maxQueued(maxQueued) {
  for (size_t i = 0; i < count; ++i) threads.emplace_back(&WorkerPool::Work, this);
}

WorkerPool::~WorkerPool() { shutdown(); }

bool WorkerPool::Refusing() { return refusing; }

void WorkerPool::enqueue(std::function<void()> fn) {
  {
    std::lock_guard<std::mutex> hold(lock);
    if (!stopping && queue.size() < maxQueued) {
      queue.push_back(std::move(fn));
      wake.notify_one();
      return;
    }
  }
  refusing = true;
  fn();
  refusing = false;
}

void WorkerPool::shutdown() {
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
    std::function<void()> task;
    {
      std::unique_lock<std::mutex> hold(lock);
      wake.wait(hold, [&] { return stopping || !queue.empty(); });
      if (queue.empty()) return;
      task = std::move(queue.front());
      queue.pop_front();
    }
    task();
  }
}

}  // namespace collector
}  // namespace qz
