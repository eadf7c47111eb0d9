#include "delivery/Abandoned.h"

#include <mutex>
#include <vector>

namespace qz {

void KeepAbandoned(IRunnable* runnable) noexcept {
  static std::mutex lock;
  static std::vector<IRunnable*>* kept = nullptr;
  try {
    std::lock_guard<std::mutex> guard(lock);
    if (kept == nullptr) kept = new std::vector<IRunnable*>();
    kept->push_back(runnable);
  } catch (...) {
  }
}

}  // namespace qz
