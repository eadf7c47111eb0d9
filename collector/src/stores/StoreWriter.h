// The one thread that writes to the store. Workers hand it the rows of a
// batch and wait for the outcome; it writes whatever has gathered in one
// transaction (group commit), so a busy collector pays one commit for many
// batches. When such a group fails, each batch is tried alone, so one bad
// batch cannot take others down with it.
#ifndef QZ_COLLECTOR_STOREWRITER_H
#define QZ_COLLECTOR_STOREWRITER_H

#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>

#include "stores/Store.h"

namespace qz {
namespace collector {

class StoreWriter {
 public:
  enum class Result { Stored, Failed, Busy, TimedOut };

  // At most maxPending batches wait; more are refused as Busy.
  StoreWriter(Store& store, size_t maxPending);
  ~StoreWriter();
  StoreWriter(const StoreWriter&) = delete;
  StoreWriter& operator=(const StoreWriter&) = delete;

  // Waits up to wait for the rows to be written.
  Result Submit(Rows rows, std::chrono::milliseconds wait);
  // Writes what is queued, then ends the thread. Later submissions are Busy.
  void Stop();

 private:
  struct Pending {
    Rows rows;
    bool done = false;
    bool stored = false;
  };

  void Run();
  void WriteGroup(std::deque<std::shared_ptr<Pending>>& group);

  Store& store;
  const size_t maxPending;
  std::mutex lock;
  std::condition_variable wake;      // the writer: work or stop
  std::condition_variable finished;  // the workers: a group is done
  std::deque<std::shared_ptr<Pending>> queue;
  bool stopping = false;
  std::thread thread;
};

}  // namespace collector
}  // namespace qz

#endif  // QZ_COLLECTOR_STOREWRITER_H
