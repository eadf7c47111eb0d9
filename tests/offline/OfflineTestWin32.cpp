#include <windows.h>

#include "offline/OfflineTest.h"

namespace qz {
namespace test {

HeldQueueLock::HeldQueueLock(const std::filesystem::path& appRoot)
    : file_(reinterpret_cast<intptr_t>(CreateFileW((appRoot / "q.lck").c_str(), GENERIC_READ,
                                                   FILE_SHARE_READ, nullptr, OPEN_ALWAYS,
                                                   FILE_ATTRIBUTE_NORMAL, nullptr))),
      held_(reinterpret_cast<HANDLE>(file_) != INVALID_HANDLE_VALUE &&
            LockFile(reinterpret_cast<HANDLE>(file_), 0, 0, 1, 0)) {}

HeldQueueLock::~HeldQueueLock() {
  HANDLE file = reinterpret_cast<HANDLE>(file_);
  if (file == INVALID_HANDLE_VALUE) return;
  if (held_) UnlockFile(file, 0, 0, 1, 0);
  CloseHandle(file);
}

}  // namespace test
}  // namespace qz
