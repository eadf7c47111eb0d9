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
#include <mutex>
#include <new>
#include <set>
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

// Everything the store makes is the user's alone. Set explicitly, past the umask.
constexpr mode_t kFolderMode = 0700;
constexpr mode_t kFileMode = 0600;

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
    if (!IsDirectory(part)) mkdir(part.c_str(), kFolderMode);
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

// Why the folder described by info may not hold stored batches, or null.
// It must be a folder owned by this user or by root that nobody else may
// write: another user could otherwise read, replace or delete the batches,
// or plant what blocks their sender. The data folder above the storage is
// not the store's own: it may be shared with a group, or be sticky.
const char* WhyUnsafe(const struct stat& info, bool dataFolder) {
  if (!S_ISDIR(info.st_mode)) return "not a folder";
  if (info.st_uid != geteuid() && info.st_uid != 0) return "owned by another user";
  const mode_t writable = dataFolder ? S_IWOTH : S_IWGRP | S_IWOTH;
  if ((info.st_mode & writable) != 0 && !(dataFolder && (info.st_mode & S_ISVTX) != 0)) {
    return "writable by others";
  }
  return nullptr;
}

// Whether path may hold stored batches; logged once per process when it may
// not. The data folder may be a link (to the user's real data folder, say);
// the storage's own folders may not.
bool IsSafeFolder(const std::string& path, bool dataFolder) {
  struct stat info;
  if ((dataFolder ? stat(path.c_str(), &info) : lstat(path.c_str(), &info)) != 0) return false;
  const char* why = WhyUnsafe(info, dataFolder);
  if (why == nullptr) return true;
  static std::mutex lock;
  static std::set<std::string> logged;
  {
    std::lock_guard<std::mutex> guard(lock);
    if (!logged.insert(path).second) return false;
  }
  StringBuf message(QZ_TEXT("Not using "));
  AppendFromUtf8(message, path);
  message.Append(": ").Append(why);
  Platform::LogWarn(kStorageRootSource, message);
  return false;
}

bool Exists(const std::string& path) {
  struct stat info;
  return lstat(path.c_str(), &info) == 0;
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

// Characters of temporary names, as mkstemp uses them.
const char kNameCharacters[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
constexpr int kTemporaryNameAttempts = 100;

// Moves source to target unless target exists; 0 or the error.
int MoveNoReplace(const std::string& source, const std::string& target) {
  int result = renameat2(AT_FDCWD, source.c_str(), AT_FDCWD, target.c_str(), RENAME_NOREPLACE);
  if (result != 0 && (errno == EINVAL || errno == ENOSYS)) {
    // A file system without the flag: a new link fails on an existing target just the same.
    result = link(source.c_str(), target.c_str());
    if (result == 0) unlink(source.c_str());
  }
  return result == 0 ? 0 : errno;
}

// Opens path without blocking or following a link, and keeps it only when
// it is a regular file: judged on what was opened, so that nothing can be
// put in its place after a look at the name. -1 with the error otherwise.
int OpenRegular(const std::string& path, int flags, uint32_t& error) {
  const int descriptor = open(path.c_str(), flags | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC, kFileMode);
  if (descriptor < 0) {
    // A link, or a pipe or socket opened to write.
    error = errno == ELOOP || errno == ENXIO ? kNotARegularFile : static_cast<uint32_t>(errno);
    return -1;
  }
  struct stat info;
  if (fstat(descriptor, &info) != 0) {
    error = static_cast<uint32_t>(errno);
    close(descriptor);
    return -1;
  }
  if (!S_ISREG(info.st_mode)) {
    error = kNotARegularFile;
    close(descriptor);
    return -1;
  }
  return descriptor;
}

uint64_t Millis(const timespec& time) {
  return time.tv_sec < 0 ? 0
                         : static_cast<uint64_t>(time.tv_sec) * 1000 +
                               static_cast<uint64_t>(time.tv_nsec) / 1000000;
}

uint64_t NowMillis() {
  timespec now;
  clock_gettime(CLOCK_REALTIME, &now);
  return Millis(now);
}

// File names are bytes, nearly always ASCII.
OfflineData::Name NameFromUtf8(const char* bytes) {
  const size_t n = strlen(bytes);
  size_t i = 0;
  while (i < n && static_cast<unsigned char>(bytes[i]) < 0x80) ++i;
  if (i == n) return OfflineData::Name(bytes, bytes + n);
  StringBuf text;
  AppendFromUtf8(text, bytes, n);
  return OfflineData::Name(text.ToString(), text.StrLen());
}

}  // namespace

PosixOfflineData::PosixOfflineData()
    : rootLock(Platform::NewMutex()),
      queueLockFile(-1),
      nameSeed(NowMillis() ^ (static_cast<uint64_t>(getpid()) << 32) ^
               static_cast<uint64_t>(reinterpret_cast<uintptr_t>(this))) {}

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
    // Not followed: a link could lead anywhere.
    if (lstat(path.c_str(), &info) == 0) {
      if (S_ISDIR(info.st_mode)) return true;
      StringBuf message;
      SetText(message, path).Append(QZ_TEXT(" exists, but is not a directory"));
      Platform::LogError(kGetDirSource, message);
      return false;
    }
    if (mkdir(path.c_str(), kFolderMode) == 0) {
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

bool PosixOfflineData::UseStorageRoot(int32_t folder) {
  std::string base;
  if (!DataFolder(folder, base)) {
    StringBuf message(folder == kMachineFolder ? QZ_TEXT("No per-machine data folder")
                                               : QZ_TEXT("No per-user data folder"));
    Platform::LogError(kStorageRootSource, message);
    return false;
  }
  const std::string vendor = base + "/Tessary Solutions";
  const std::string root = vendor + "/QZ Storage";
  const std::string company = root + "/" + ToUtf8(companyID);
  if (folder == kMachineFolder) {
    // Only an administrator makes it; the usual case is that nobody did.
    if (!Exists(root)) {
      LogPath(kStorageRootSource, "No shared storage in ", base, &Platform::LogInfo);
      return false;
    }
    if (!IsSafeFolder(base, true) || !IsSafeFolder(vendor, false) || !IsSafeFolder(root, false)) {
      return false;
    }
    // Another user's service, or one this user may not join: its own folder serves.
    const std::string& nearest = Exists(company) ? company : root;
    if ((Exists(company) && !IsSafeFolder(company, false)) ||
        access(nearest.c_str(), W_OK | X_OK) != 0) {
      LogPath(kStorageRootSource, "No write access to the shared storage in ", base,
              &Platform::LogInfo);
      return false;
    }
  } else {
    for (const std::string* path : {&vendor, &root}) {
      if (!GetDir(*path)) {
        LogPath(kStorageRootSource, "Unable to get/create ", *path);
        return false;
      }
    }
    if (!IsSafeFolder(base, true) || !IsSafeFolder(vendor, false) || !IsSafeFolder(root, false)) {
      return false;
    }
  }
  storageRoot = root;
  if (!GetDir(company) || !IsSafeFolder(company, false)) {
    LogPath(QZ_TEXT("PosixOfflineData::CreateAppRoot"), "Unable to get/create app root ", company);
    return false;
  }
  appRoot = company;
  return true;
}

bool PosixOfflineData::CreateAppRoot() {
  MutexLock guard(rootLock);
  if (!appRoot.empty()) {
    if (GetDir(appRoot)) return true;
    LogPath(QZ_TEXT("PosixOfflineData::CreateAppRoot"), "Unable to get previously existing app root ",
            appRoot);
  }
  if (!UseStorageRoot(kMachineFolder) && !UseStorageRoot(kUserFolder)) {
    Platform::LogError(kStorageRootSource, QZ_TEXT("Unable to get/create any storage root"));
    return false;
  }
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
  // Created exclusively under a unique name (0600), like every temporary here.
  const int descriptor = mkostemps(&path[0], 4, O_CLOEXEC);
  if (descriptor < 0) {
    LogErrno(QZ_TEXT("PosixOfflineData::CreateTempFileName"), errno);
    return false;
  }
  close(descriptor);
  SetText(name, path);
  return true;
}

bool PosixOfflineData::Rename(const QZChar* from, const QZChar* to) {
  const std::string target = ToUtf8(to);
  const int error = MoveNoReplace(ToUtf8(from), target);
  if (error != 0) {
    LogErrno(QZ_TEXT("PosixOfflineData::Rename"), error);
    return false;
  }
  SyncFolderOf(target);
  return true;
}

int32_t PosixOfflineData::Claim(const QZChar* stored, StringBuf& temporary) {
  const std::string source = ToUtf8(stored);
  // A fresh name made here rather than by a temporary file: the move itself
  // refuses a name that is taken, and making and deleting a file for every
  // claim costs a file system more and more as it reuses deleted inodes.
  std::string target;
  int error = EEXIST;
  for (int attempt = 0; attempt < kTemporaryNameAttempts && error == EEXIST; ++attempt) {
    target = appRoot + "/QZ";
    for (int i = 0; i < 6; ++i) {
      nameSeed = nameSeed * 6364136223846793005ull + 1442695040888963407ull;
      target += kNameCharacters[(nameSeed >> 33) % (sizeof kNameCharacters - 1)];
    }
    target += ".tmp";
    // Not synced: a claim that a power cut undoes leaves the batch stored, to
    // be sent again, and one it keeps is taken back as abandoned.
    error = MoveNoReplace(source, target);
  }
  if (error == 0) {
    SetText(temporary, target);
    return kClaimed;
  }
  if (error == ENOENT) return kGone;
  LogErrno(QZ_TEXT("PosixOfflineData::Rename"), error);
  return kFailed;
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
  ForgetSearch();
}

OfflineFile* PosixOfflineData::OpenFile(const QZChar* name, bool forWrite, uint32_t& error) {
  const int descriptor = OpenRegular(ToUtf8(name), forWrite ? O_WRONLY | O_CREAT : O_RDONLY, error);
  if (descriptor < 0) return nullptr;
  // Truncated only once known to be a regular file.
  if (forWrite && ftruncate(descriptor, 0) != 0) {
    error = static_cast<uint32_t>(errno);
    close(descriptor);
    return nullptr;
  }
  OfflineFile* file = new (std::nothrow) PosixOfflineFile(descriptor);
  if (file == nullptr) {
    close(descriptor);
    error = ENOMEM;
  }
  return file;
}

bool PosixOfflineData::GetQueueLock(bool& busy) {
  busy = false;
  if (!CreateAppRoot()) return false;
  const QZChar source[] = QZ_TEXT("PosixOfflineData::GetQueueLock");
  uint32_t error = 0;
  const int descriptor = OpenRegular(appRoot + "/q.lck", O_RDONLY | O_CREAT, error);
  if (descriptor < 0) {
    LogPath(source, "Failed to create lock file in ", appRoot);
    return false;
  }
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
  busy = errno == EWOULDBLOCK;
  if (!busy) LogErrno(source, errno);
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

bool PosixOfflineData::ListFolder(std::vector<Entry>& entries, bool details) {
  const QZChar source[] = QZ_TEXT("PosixOfflineData::ListFolder");
  DIR* folder = opendir(appRoot.c_str());
  if (folder == nullptr) {
    LogErrno(source, errno);
    return false;
  }
  // Closed however this ends: keeping a name may throw.
  std::unique_ptr<DIR, FolderCloser> owned(folder);
  const uint64_t now = details ? NowMillis() : 0;
  while (true) {
    errno = 0;
    const dirent* found = readdir(folder);
    if (found == nullptr) break;
    const char* name = found->d_name;
    if (name[0] == '.' && (name[1] == 0 || (name[1] == '.' && name[2] == 0))) continue;
    Entry entry;
    entry.regular = found->d_type == DT_REG;
    if (details || found->d_type == DT_UNKNOWN) {
      struct stat info;
      // Gone meanwhile: nothing to list.
      if (fstatat(dirfd(folder), name, &info, AT_SYMLINK_NOFOLLOW) != 0) continue;
      entry.regular = S_ISREG(info.st_mode);
      if (entry.regular) {
        entry.size = static_cast<uint64_t>(info.st_size);
        const uint64_t written = Millis(info.st_mtim);
        entry.age = written < now ? now - written : 0;
      }
    }
    entry.name = NameFromUtf8(name);
    entries.push_back(std::move(entry));
  }
  // Go on with what was listed.
  if (errno != 0) LogErrno(source, errno);
  return true;
}

void PosixOfflineData::GetFullName(const Name& name, StringBuf& out) {
  SetText(out, appRoot).Append(QZChar('/')).Append(name.c_str(), name.size());
}

void PosixOfflineData::MarkClaimed(const QZChar* name) {
  if (utimensat(AT_FDCWD, ToUtf8(name).c_str(), nullptr, AT_SYMLINK_NOFOLLOW) != 0) {
    LogErrno(QZ_TEXT("PosixOfflineData::MarkClaimed"), errno);
  }
}

}  // namespace qz
