// The one thread that writes to the store. Requests hand it the rows of a
// batch with what to do once they are written; it writes whatever has
// gathered in one transaction (group commit), so a busy collector pays one
// sync for many batches, and tells each request only after the commit is on
// disk. When such a group is refused, each batch is tried alone, so one bad
// batch cannot take others down with it. Other work for the store (expiry)
// runs on the same thread between groups.
#ifndef QZ_COLLECTOR_STOREWRITER_H
#define QZ_COLLECTOR_STOREWRITER_H

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

#include "stores/Store.h"

namespace qz {
namespace collector {

class StoreWriter {
 public:
  // Called on the writer thread with the outcome, and for Refused or Retry
  // the reason. Must not block.
  using Done = std::function<void(WriteStatus status, const std::string& error)>;
  using Task = std::function<void(Store& store)>;

  // At most maxPending batches wait; more are refused at once.
  StoreWriter(Store& store, size_t maxPending);
  ~StoreWriter();
  StoreWriter(const StoreWriter&) = delete;
  StoreWriter& operator=(const StoreWriter&) = delete;

  // Queues the rows; false (done never called) when full or stopping.
  bool Submit(Rows rows, Done done);
  // Queues other work for the store; false when stopping.
  bool Run(Task task);
  // Writes what is queued, then ends the thread. Later submissions are refused.
  void Stop();

  // Processor time the thread spent writing, and the batches it stored.
  int64_t BusyMicros() const { return busyMicros.load(std::memory_order_relaxed); }
  int64_t StoredBatches() const { return stored.load(std::memory_order_relaxed); }

 private:
  struct Pending {
    Rows rows;
    Done done;
    Task task;
  };

  void Loop();
  void WriteGroup(std::deque<Pending>& group);

  Store& store;
  const size_t maxPending;
  std::mutex lock;
  std::condition_variable wake;
  std::deque<Pending> queue;
  bool stopping = false;
  std::atomic<int64_t> busyMicros{0};
  std::atomic<int64_t> stored{0};
  std::thread thread;
};

}  // namespace collector
}  // namespace qz

#endif  // QZ_COLLECTOR_STOREWRITER_H
