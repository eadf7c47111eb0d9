#include "offline/PosixOfflineData.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <pwd.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <memory>
#include <new>
#include <vector>

#include "delivery/Mutex.h"
#include "offline/PosixOfflineFile.h"
#include "platform/Platform.h"
#include "platform/TestHooks.h"
#include "types/Utf8.h"

namespace qz {
namespace {

struct FolderCloser {
  void operator()(DIR* folder) const { closedir(folder); }
};

const QZChar kGetDirSource[] = QZ_TEXT("PosixOfflineData::GetDir");
const QZChar kStorageRootSource[] = QZ_TEXT("PosixOfflineData::GetStorageRoot");

// Modes of what a shared root holds: folders every user may add to and claim
// from, records every user's sender may read. Set explicitly, past the umask.
constexpr mode_t kSharedFolderMode = 0777;
constexpr mode_t kSharedFileMode = 0644;
constexpr mode_t kPrivateFolderMode = 0700;
constexpr mode_t kPrivateFileMode = 0600;

// Sets text to a UTF-8 path.
StringBuf& SetText(StringBuf& text, const std::string& utf8) {
  text.Clear();
  AppendFromUtf8(text, utf8);
  return text;
}

void LogErrno(const QZChar* source, int code) {
  StringBuf message;
  AppendSystemError(message, static_cast<uint32_t>(code));
  Platform::LogError(source, message);
}

void LogPath(const QZChar* source, const char* prefix, const std::string& path,
             void (*log)(const QZChar*, const QZChar*) = &Platform::LogError) {
  StringBuf message;
  message.Append(prefix);
  AppendFromUtf8(message, path);
  log(source, message);
}

bool EndsWith(const char* name, const char* suffix) {
  const size_t n = strlen(name);
  const size_t m = strlen(suffix);
  return n > m && memcmp(name + n - m, suffix, m) == 0;
}

bool IsDirectory(const std::string& path) {
  struct stat info;
  return stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

std::string HomeFolder() {
  const char* home = getenv("HOME");
  if (home != nullptr && home[0] != 0) return home;
  long size = sysconf(_SC_GETPW_R_SIZE_MAX);
  std::vector<char> buffer(size > 0 ? static_cast<size_t>(size) : 16384);
  passwd entry;
  passwd* found = nullptr;
  if (getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found) != 0 || found == nullptr ||
      found->pw_dir == nullptr) {
    return std::string();
  }
  return found->pw_dir;
}

// Makes the missing folders of a per-user data folder path, as the desktop
// conventions ask (private to the user).
void MakeFolders(const std::string& path) {
  for (size_t slash = path.find('/', 1); ; slash = path.find('/', slash + 1)) {
    const std::string part = path.substr(0, slash);
    if (!IsDirectory(part)) mkdir(part.c_str(), kPrivateFolderMode);
    if (slash == std::string::npos) break;
  }
}

// The system folder in which the storage root is made, or false.
bool DataFolder(int32_t folder, std::string& path) {
  testhooks::StorageFolderFunction override = testhooks::GetStorageFolderOverride();
  if (override != nullptr) {
    StringBuf text;
    if (!override(folder, text)) return false;
    path = ToUtf8(text);
  } else if (folder == PosixOfflineData::kMachineFolder) {
    path = "/var/lib";
  } else {
    path = PosixOfflineData::UserDataFolder(getenv("XDG_DATA_HOME"), HomeFolder().c_str());
    if (!path.empty()) MakeFolders(path);
  }
  return !path.empty() && IsDirectory(path);
}

// Whether this process may make or use the folder path (whose parent is
// parent, inside base): the nearest of them that is there must be a folder
// it may write. Anything else in the way is for GetDir to report.
bool MayWrite(const std::string& path, const std::string& parent, const std::string& base) {
  for (const std::string* p : {&path, &parent, &base}) {
    struct stat info;
    if (lstat(p->c_str(), &info) != 0) continue;
    return !S_ISDIR(info.st_mode) || access(p->c_str(), W_OK | X_OK) == 0;
  }
  return false;
}

// A new name must survive a power cut as well as the record it names.
void SyncFolderOf(const std::string& path) {
  const size_t slash = path.rfind('/');
  const std::string folder = slash == 0 ? "/" : path.substr(0, slash);
  const int descriptor = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (descriptor < 0) return;
  fsync(descriptor);
  close(descriptor);
}

uint64_t NowMillis() {
  timespec now;
  clock_gettime(CLOCK_REALTIME, &now);
  return static_cast<uint64_t>(now.tv_sec) * 1000 + static_cast<uint64_t>(now.tv_nsec) / 1000000;
}

}  // namespace

PosixOfflineData::PosixOfflineData()
    : rootLock(Platform::NewMutex()), shared(false), queueLockFile(-1) {}

PosixOfflineData::~PosixOfflineData() {
  ReleaseQueueLock();
  delete rootLock;
}

std::string PosixOfflineData::UserDataFolder(const char* xdgDataHome, const char* home) {
  // The conventions ignore a relative $XDG_DATA_HOME.
  if (xdgDataHome != nullptr && xdgDataHome[0] == '/') return xdgDataHome;
  if (home == nullptr || home[0] == 0) return std::string();
  std::string path = home;
  if (path.back() != '/') path += '/';
  return path + ".local/share";
}

bool PosixOfflineData::GetDir(const std::string& path) {
  for (int attempt = 0; attempt < 2; ++attempt) {
    struct stat info;
    // Not followed: in a folder every user may write, a link could lead anywhere.
    if (lstat(path.c_str(), &info) == 0) {
      if (S_ISDIR(info.st_mode)) return true;
      StringBuf message;
      SetText(message, path).Append(QZ_TEXT(" exists, but is not a directory"));
      Platform::LogError(kGetDirSource, message);
      return false;
    }
    if (mkdir(path.c_str(), shared ? kSharedFolderMode : kPrivateFolderMode) == 0) {
      if (shared) chmod(path.c_str(), kSharedFolderMode);
      StringBuf message;
      Platform::LogInfo(kGetDirSource, SetText(message, path));
      return true;
    }
    // Made meanwhile by another thread or process: judge it as it is.
    if (errno != EEXIST) break;
  }
  const int code = errno;
  LogPath(kGetDirSource, "Unable to create ", path);
  LogErrno(kGetDirSource, code);
  return false;
}

bool PosixOfflineData::GetStorageRoot(int32_t folder) {
  std::string base;
  if (!DataFolder(folder, base)) {
    StringBuf message(folder == kMachineFolder ? QZ_TEXT("No per-machine data folder")
                                               : QZ_TEXT("No per-user data folder"));
    Platform::LogError(kStorageRootSource, message);
    return false;
  }
  const std::string vendor = base + "/Tessary Solutions";
  const std::string root = vendor + "/QZ Storage";
  if (folder == kMachineFolder && !MayWrite(root, vendor, base)) {
    // Usual for a user who may not write there; the per-user folder serves.
    LogPath(kStorageRootSource, "No write access to the shared storage in ", base,
            &Platform::LogInfo);
    return false;
  }
  shared = folder == kMachineFolder;
  for (const std::string* path : {&vendor, &root}) {
    if (!GetDir(*path)) {
      LogPath(kStorageRootSource, "Unable to get/create ", *path);
      return false;
    }
  }
  if (access(root.c_str(), W_OK | X_OK) != 0) {
    LogPath(kStorageRootSource, "Unable to get/create ", root);
    return false;
  }
  storageRoot = root;
  return true;
}

bool PosixOfflineData::CreateAppRoot() {
  MutexLock guard(rootLock);
  if (!appRoot.empty()) {
    if (GetDir(appRoot)) return true;
    LogPath(QZ_TEXT("PosixOfflineData::CreateAppRoot"), "Unable to get previously existing app root ",
            appRoot);
  }
  if (!GetStorageRoot(kMachineFolder) && !GetStorageRoot(kUserFolder)) {
    Platform::LogError(kStorageRootSource, QZ_TEXT("Unable to get/create any storage root"));
    return false;
  }
  const std::string path = storageRoot + "/" + ToUtf8(companyID);
  if (!GetDir(path)) {
    LogPath(QZ_TEXT("PosixOfflineData::CreateAppRoot"), "Unable to get/create app root ", path);
    return false;
  }
  appRoot = path;
  return true;
}

bool PosixOfflineData::CreateFileName(StringBuf& name, uint64_t time) {
  if (!CreateAppRoot()) return false;
  SetText(name, appRoot + "/");
  AppendStoredName(name, time);
  return true;
}

bool PosixOfflineData::CreateTempFileName(StringBuf& name) {
  if (!CreateAppRoot()) return false;
  std::string path = appRoot + "/QZXXXXXX.tmp";
  // Created exclusively under a unique name, like every temporary here.
  const int descriptor = mkostemps(&path[0], 4, O_CLOEXEC);
  if (descriptor < 0) {
    LogErrno(QZ_TEXT("PosixOfflineData::CreateTempFileName"), errno);
    return false;
  }
  if (shared) fchmod(descriptor, kSharedFileMode);
  close(descriptor);
  SetText(name, path);
  return true;
}

bool PosixOfflineData::Rename(const QZChar* from, const QZChar* to) {
  const std::string source = ToUtf8(from);
  const std::string target = ToUtf8(to);
  int result = renameat2(AT_FDCWD, source.c_str(), AT_FDCWD, target.c_str(), RENAME_NOREPLACE);
  if (result != 0 && (errno == EINVAL || errno == ENOSYS)) {
    // A file system without the flag: a new link fails on an existing target just the same.
    result = link(source.c_str(), target.c_str());
    if (result == 0) unlink(source.c_str());
  }
  if (result != 0) {
    LogErrno(QZ_TEXT("PosixOfflineData::Rename"), errno);
    return false;
  }
  SyncFolderOf(target);
  return true;
}

bool PosixOfflineData::Delete(const QZChar* name) {
  if (unlink(ToUtf8(name).c_str()) == 0) return true;
  LogErrno(QZ_TEXT("PosixOfflineData::Delete"), errno);
  return false;
}

void PosixOfflineData::ChangeCompanyID(const QZChar* id) {
  MutexLock guard(rootLock);
  companyID = id;
  appRoot.clear();
}

OfflineFile* PosixOfflineData::OpenFile(const QZChar* name, bool forWrite, uint32_t& error) {
  const int flags = forWrite ? O_WRONLY | O_CREAT | O_TRUNC : O_RDONLY;
  const int descriptor = open(ToUtf8(name).c_str(), flags | O_CLOEXEC | O_NOFOLLOW,
                              shared ? kSharedFileMode : kPrivateFileMode);
  if (descriptor < 0) {
    error = static_cast<uint32_t>(errno);
    return nullptr;
  }
  OfflineFile* file = new (std::nothrow) PosixOfflineFile(descriptor);
  if (file == nullptr) {
    close(descriptor);
    error = ENOMEM;
  }
  return file;
}

bool PosixOfflineData::GetQueueLock() {
  if (!CreateAppRoot()) return false;
  const QZChar source[] = QZ_TEXT("PosixOfflineData::GetQueueLock");
  const std::string path = appRoot + "/q.lck";
  const int descriptor =
      open(path.c_str(), O_RDONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW, kSharedFileMode);
  if (descriptor < 0) {
    LogPath(source, "Failed to create lock file in ", appRoot);
    return false;
  }
  if (shared) fchmod(descriptor, kSharedFileMode);
  // flock's lock belongs to this open file: it excludes other processes and
  // this process's other stores alike, and no other descriptor's close drops it.
  int result;
  do {
    result = flock(descriptor, LOCK_EX | LOCK_NB);
  } while (result != 0 && errno == EINTR);
  if (result == 0) {
    queueLockFile = descriptor;
    return true;
  }
  if (errno != EWOULDBLOCK) LogErrno(source, errno);
  close(descriptor);
  return false;
}

void PosixOfflineData::ReleaseQueueLock() {
  if (queueLockFile < 0) return;
  if (flock(queueLockFile, LOCK_UN) != 0) {
    LogErrno(QZ_TEXT("PosixOfflineData::ReleaseQueueLock"), errno);
  }
  close(queueLockFile);
  queueLockFile = -1;
}

int32_t PosixOfflineData::FindOldest(StringBuf& path) {
  const QZChar source[] = QZ_TEXT("PosixOfflineData::SendNext");
  DIR* folder = opendir(appRoot.c_str());
  if (folder == nullptr) {
    LogErrno(source, errno);
    return kFailed;
  }
  // Closed however this ends: keeping a name may throw.
  std::unique_ptr<DIR, FolderCloser> owned(folder);
  std::string oldest;
  errno = 0;
  while (const dirent* entry = readdir(folder)) {
    if (entry->d_type == DT_DIR || !EndsWith(entry->d_name, ".QZ")) continue;
    if (oldest.empty() || strcmp(entry->d_name, oldest.c_str()) < 0) oldest = entry->d_name;
  }
  // Go on with the smallest name seen.
  const int code = errno;
  if (code != 0) LogErrno(source, code);
  if (oldest.empty()) return code != 0 ? kFailed : kNothingStored;
  SetText(path, appRoot + "/" + oldest);
  return kFound;
}

void PosixOfflineData::MarkClaimed(const QZChar* name) {
  if (utimensat(AT_FDCWD, ToUtf8(name).c_str(), nullptr, AT_SYMLINK_NOFOLLOW) != 0) {
    LogErrno(QZ_TEXT("PosixOfflineData::MarkClaimed"), errno);
  }
}

void PosixOfflineData::ListStaleTemporaries(uint64_t age, std::vector<Name>& names) {
  DIR* folder = opendir(appRoot.c_str());
  if (folder == nullptr) return;
  std::unique_ptr<DIR, FolderCloser> owned(folder);
  const uint64_t now = NowMillis();
  while (const dirent* entry = readdir(folder)) {
    if (strncmp(entry->d_name, "QZ", 2) != 0 || !EndsWith(entry->d_name, ".tmp")) continue;
    struct stat info;
    if (fstatat(dirfd(folder), entry->d_name, &info, AT_SYMLINK_NOFOLLOW) != 0 ||
        !S_ISREG(info.st_mode) || info.st_mtim.tv_sec < 0) {
      continue;
    }
    const uint64_t written = static_cast<uint64_t>(info.st_mtim.tv_sec) * 1000 +
                             static_cast<uint64_t>(info.st_mtim.tv_nsec) / 1000000;
    if (written > now || now - written < age) continue;
    StringBuf name;
    SetText(name, appRoot + "/" + entry->d_name);
    names.emplace_back(name.ToString(), name.StrLen());
  }
}

}  // namespace qz
