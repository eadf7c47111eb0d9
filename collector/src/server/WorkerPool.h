// The bounded worker pool behind one listening port: a fixed number of
// threads and a bounded queue of accepted connections. When the queue is
// full, the accept thread handles the connection itself in refusing mode
// (Refusing() is true while it does), which answers 503 at once.
#ifndef QZ_COLLECTOR_WORKERPOOL_H
#define QZ_COLLECTOR_WORKERPOOL_H

#include <httplib.h>

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace qz {
namespace collector {

class WorkerPool : public httplib::TaskQueue {
 public:
  WorkerPool(size_t threads, size_t maxQueued);
  ~WorkerPool() override;

  void enqueue(std::function<void()> fn) override;
  // Runs what is queued (each task closes its connection), then joins.
  void shutdown() override;

  // True on the thread that runs a task the pool had no room for.
  static bool Refusing();

 private:
  void Work();

  const size_t maxQueued;
  std::mutex lock;
  std::condition_variable wake;
  std::deque<std::function<void()>> queue;
  bool stopping = false;
  std::vector<std::thread> threads;
};

}  // namespace collector
}  // namespace qz

#endif  // QZ_COLLECTOR_WORKERPOOL_H
