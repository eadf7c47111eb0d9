// Bytes that requests in progress may hold at once. A request takes its
// share before its body is read and gives it back once answered, so a
// burst of large batches waits outside (503) instead of taking the memory.
#ifndef QZ_COLLECTOR_MEMORYBUDGET_H
#define QZ_COLLECTOR_MEMORYBUDGET_H

#include <atomic>
#include <cstddef>

namespace qz {
namespace collector {

class MemoryBudget {
 public:
  explicit MemoryBudget(size_t limit) : limit(limit) {}

  bool Take(size_t bytes) {
    size_t now = used.load(std::memory_order_relaxed);
    do {
      if (bytes > limit - now) return false;
    } while (!used.compare_exchange_weak(now, now + bytes, std::memory_order_relaxed));
    return true;
  }
  void Give(size_t bytes) { used.fetch_sub(bytes, std::memory_order_relaxed); }
  size_t Used() const { return used.load(std::memory_order_relaxed); }

 private:
  const size_t limit;
  std::atomic<size_t> used{0};
};

}  // namespace collector
}  // namespace qz

#endif  // QZ_COLLECTOR_MEMORYBUDGET_H
