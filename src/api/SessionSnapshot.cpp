#include "api/SessionSnapshot.h"

#include <cstring>
#include <thread>

namespace qz {

void SessionSnapshot::Store(const QZChar* session) {
  uint64_t packed[kWords] = {};
  size_t length = 0;
  while (session != nullptr && length < kMaxLength && session[length] != 0) ++length;
  // The characters as they lie in memory; Load copies them back the same way.
  if (length > 0) std::memcpy(packed, session, length * sizeof(QZChar));
  const uint32_t start = sequence.load(std::memory_order_relaxed);
  sequence.store(start + 1, std::memory_order_relaxed);
  // Release: a reader that sees any new word also sees the odd count.
  for (size_t i = 0; i < kWords; ++i) words[i].store(packed[i], std::memory_order_release);
  sequence.store(start + 2, std::memory_order_release);
}

void SessionSnapshot::Load(Text& out) const {
  uint64_t packed[kWords];
  for (;;) {
    const uint32_t before = sequence.load(std::memory_order_acquire);
    if ((before & 1) == 0) {
      // Acquire: the count is read again after the words, and a word of a
      // store under way makes it read odd or changed.
      for (size_t i = 0; i < kWords; ++i) packed[i] = words[i].load(std::memory_order_acquire);
      if (sequence.load(std::memory_order_relaxed) == before) break;
    }
    // A store is under way; it is a handful of instructions long.
    std::this_thread::yield();
  }
  std::memcpy(out, packed, sizeof out);
}

}  // namespace qz
