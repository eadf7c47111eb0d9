// Deletes what is older than a number of days, in the background: a pass
// soon after the start and then every interval, each in steps of a bounded
// number of messages, run by the writer thread between groups of batches so
// that storing never waits for more than one step.
#ifndef QZ_COLLECTOR_RETENTION_H
#define QZ_COLLECTOR_RETENTION_H

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>

#include "stores/StoreWriter.h"

namespace qz {
namespace collector {

class Retention {
 public:
  Retention(StoreWriter& writer, int days, std::chrono::milliseconds interval);
  ~Retention();
  Retention(const Retention&) = delete;
  Retention& operator=(const Retention&) = delete;

  // Ends the thread after the step in progress; the writer must still run.
  void Stop();
  // Messages and batches deleted so far.
  int64_t Deleted() const;

 private:
  void Loop();
  // One step on the writer thread; false when stopping or the step failed.
  bool Step(int64_t& deleted);

  StoreWriter& writer;
  const int days;
  const std::chrono::milliseconds interval;
  mutable std::mutex lock;
  std::condition_variable wake;
  bool stopping = false;
  int64_t deletedTotal = 0;
  std::thread thread;
};

}  // namespace collector
}  // namespace qz

#endif  // QZ_COLLECTOR_RETENTION_H
