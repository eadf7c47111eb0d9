// The threads that check batches and render reports, off the network
// threads: a fixed number of them and a bounded queue in front, so that a
// burst is refused (503) rather than piled up.
#ifndef QZ_COLLECTOR_WORKERPOOL_H
#define QZ_COLLECTOR_WORKERPOOL_H

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace qz {
namespace collector {

class WorkerPool {
 public:
  WorkerPool(size_t threads, size_t maxQueued);
  ~WorkerPool();
  WorkerPool(const WorkerPool&) = delete;
  WorkerPool& operator=(const WorkerPool&) = delete;

  // False when the queue is full or the pool stopped.
  bool Post(std::function<void()> job);
  // Runs what is queued, then joins.
  void Stop();
  // Processor time the threads spent in jobs.
  int64_t BusyMicros() const { return busyMicros.load(std::memory_order_relaxed); }

 private:
  void Work();

  const size_t maxQueued;
  std::mutex lock;
  std::condition_variable wake;
  std::deque<std::function<void()>> queue;
  bool stopping = false;
  std::atomic<int64_t> busyMicros{0};
  std::vector<std::thread> threads;
};

}  // namespace collector
}  // namespace qz

#endif  // QZ_COLLECTOR_WORKERPOOL_H
