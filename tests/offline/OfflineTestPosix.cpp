#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
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

PlantedNonFiles::PlantedNonFiles(const std::filesystem::path& folder, const std::string& fifo,
                                 const std::string& directory, const std::string& link)
    : folder_(folder), fifo_(fifo), directory_(directory), link_(link) {
  const std::filesystem::path lure = folder.parent_path() / ("lure-" + link);
  planted_ = mkfifo((folder / fifo).c_str(), 0600) == 0 && mkdir((folder / directory).c_str(), 0700) == 0 &&
             mkfifo(lure.c_str(), 0600) == 0 && symlink(lure.c_str(), (folder / link).c_str()) == 0;
}

PlantedNonFiles::~PlantedNonFiles() {
  std::error_code ignored;
  for (const std::filesystem::path& path : {folder_ / fifo_, folder_ / directory_, folder_ / link_,
                                            folder_.parent_path() / ("lure-" + link_)}) {
    std::filesystem::remove(path, ignored);
  }
}

}  // namespace test
}  // namespace qz
