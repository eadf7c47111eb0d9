// The run's default session as event operations read it: without the global
// lock. A copy of the configuration's, stored under the lock when a run starts
// and stops, read through a sequence count, so a reader that overlaps a store
// reads again instead of waiting for the lock.
#ifndef QZ_API_SESSIONSNAPSHOT_H
#define QZ_API_SESSIONSNAPSHOT_H

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "qz/export.h"

namespace qz {

class SessionSnapshot {
 public:
  // A GUID: the configuration keeps no other default session.
  static constexpr size_t kMaxLength = 36;
  typedef QZChar Text[kMaxLength + 1];

  // Keeps at most kMaxLength characters of session (null: empty).
  // REQUIRES: the run's global lock, so stores never overlap.
  void Store(const QZChar* session);
  // Copies the session last stored, and its terminator, into out.
  void Load(Text& out) const;

 private:
  // Room for the text and at least one NUL after it.
  static constexpr size_t kWords = (sizeof(Text) + sizeof(uint64_t) - 1) / sizeof(uint64_t);

  std::atomic<uint32_t> sequence{0};  // odd while a store is under way
  std::atomic<uint64_t> words[kWords] = {};
};

}  // namespace qz

#endif  // QZ_API_SESSIONSNAPSHOT_H
