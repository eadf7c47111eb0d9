#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include "offline/OfflineTest.h"

namespace qz {
namespace test {

HeldQueueLock::HeldQueueLock(const std::filesystem::path& appRoot)
    : file_(open((appRoot / "q.lck").c_str(), O_RDONLY | O_CREAT | O_CLOEXEC, 0644)),
      held_(file_ >= 0 && flock(static_cast<int>(file_), LOCK_EX | LOCK_NB) == 0) {}

HeldQueueLock::~HeldQueueLock() {
  if (file_ >= 0) close(static_cast<int>(file_));
}

}  // namespace test
}  // namespace qz
