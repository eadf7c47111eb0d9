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

namespace {

// The file functions can neither make nor remove a FIFO (std::filesystem
// cannot even remove a folder that holds one). Under Wine a Linux shell can,
// started like a Windows program by its path on drive Z:, in folder; Windows
// itself has no such program. Wine cannot wait for a Linux process, so the
// script's last step, making the file marker beside folder, is waited for.
bool RunShell(const std::filesystem::path& folder, const std::string& script, const std::string& marker) {
  std::wstring line = L"/bin/sh -c \"" + std::wstring(script.begin(), script.end()) + L" && : > '../" +
                      std::wstring(marker.begin(), marker.end()) + L"'\"";
  STARTUPINFOW startup = {};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION process = {};
  if (!CreateProcessW(L"Z:\\bin\\sh", &line[0], nullptr, nullptr, FALSE, 0, nullptr,
                      folder.c_str(), &startup, &process)) {
    return false;
  }
  CloseHandle(process.hThread);
  CloseHandle(process.hProcess);
  const std::filesystem::path made = folder.parent_path() / marker;
  const bool done = WaitFor([&] { return std::filesystem::exists(made); }, 20000);
  std::error_code ignored;
  std::filesystem::remove(made, ignored);
  return done;
}

}  // namespace

PlantedNonFiles::PlantedNonFiles(const std::filesystem::path& folder, const std::string& fifo,
                                 const std::string& directory, const std::string& link)
    : folder_(folder), fifo_(fifo), directory_(directory), link_(link) {
  planted_ = RunShell(folder, "mkfifo '" + fifo + "' && mkdir '" + directory + "' && mkfifo '../lure-" +
                                  link + "' && ln -s '../lure-" + link + "' '" + link + "'",
                      "planted-" + link);
}

PlantedNonFiles::~PlantedNonFiles() {
  RunShell(folder_, "rm -rf '" + fifo_ + "' '" + directory_ + "' '" + link_ + "' '../lure-" + link_ + "'",
           "removed-" + link_);
}

HeldQueueLock::~HeldQueueLock() {
  HANDLE file = reinterpret_cast<HANDLE>(file_);
  if (file == INVALID_HANDLE_VALUE) return;
  if (held_) UnlockFile(file, 0, 0, 1, 0);
  CloseHandle(file);
}

}  // namespace test
}  // namespace qz
