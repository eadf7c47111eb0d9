#include "offline/Win32OfflineData.h"

#include <shlobj.h>

#include <cwchar>

#include "delivery/Mutex.h"
#include "offline/Win32OfflineFile.h"
#include "platform/Platform.h"
#include "platform/TestHooks.h"

namespace qz {
namespace {

const QZChar kGetDirSource[] = QZ_TEXT("Win32OfflineData::GetDir");
const QZChar kStorageRootSource[] = QZ_TEXT("Win32OfflineData::GetStorageRoot");
const QZChar kCreateAppRootSource[] = QZ_TEXT("Win32OfflineData::CreateAppRoot");

// Storage root candidates, in order: common, local and roaming application data.
const int32_t kFolders[] = {CSIDL_COMMON_APPDATA, CSIDL_LOCAL_APPDATA, CSIDL_APPDATA};

// Virus scanners and indexers open new files for a moment; what fails for
// that reason is tried again a few times before it counts as failed.
constexpr int kSharingAttempts = 5;
constexpr DWORD kSharingPauseMs = 20;

bool Transient(DWORD error) {
  return error == ERROR_SHARING_VIOLATION || error == ERROR_LOCK_VIOLATION;
}

void LogLastError(const QZChar* source, DWORD code) {
  StringBuf message;
  AppendSystemError(message, code);
  Platform::LogError(source, message);
}

void LogText(void (*log)(const QZChar*, const QZChar*), const QZChar* source,
             const QZChar* prefix, const StringBuf& text) {
  StringBuf message(prefix);
  message.Append(text);
  log(source, message);
}

uint64_t FileTimeValue(const FILETIME& time) {
  return (static_cast<uint64_t>(time.dwHighDateTime) << 32) | time.dwLowDateTime;
}

constexpr DWORD kNotAFileAttributes =
    FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT | FILE_ATTRIBUTE_DEVICE;

// Whether what handle has open is a file on a disk: not a pipe or device
// (a file name may lead to either), not a folder or reparse point.
bool IsDiskFile(HANDLE handle) {
  if (GetFileType(handle) != FILE_TYPE_DISK) return false;
  BY_HANDLE_FILE_INFORMATION information;
  return GetFileInformationByHandle(handle, &information) &&
         (information.dwFileAttributes & kNotAFileAttributes) == 0;
}

// CreateFileW that does not follow a reparse point, and keeps only a disk
// file. INVALID_HANDLE_VALUE with the error otherwise.
HANDLE OpenDiskFile(const QZChar* name, DWORD access, DWORD sharing, DWORD disposition,
                    DWORD& error) {
  HANDLE handle = CreateFileW(name, access, sharing, nullptr, disposition,
                              FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
  if (handle == INVALID_HANDLE_VALUE) {
    error = GetLastError();
  } else if (!IsDiskFile(handle)) {
    CloseHandle(handle);
    handle = INVALID_HANDLE_VALUE;
    error = kNotARegularFile;
  }
  return handle;
}

}  // namespace

Win32OfflineData::Win32OfflineData()
    : rootLock(Platform::NewMutex()), queueLockFile(INVALID_HANDLE_VALUE) {}

Win32OfflineData::~Win32OfflineData() {
  ReleaseQueueLock();
  delete rootLock;
}

bool Win32OfflineData::GetDir(const StringBuf& path) {
  DWORD error = ERROR_SUCCESS;
  for (int attempt = 0; attempt < 2; ++attempt) {
    const DWORD attributes = GetFileAttributesW(path);
    if (attributes != INVALID_FILE_ATTRIBUTES) {
      if ((attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) return true;
      StringBuf message;
      message.Append(path).Append(QZ_TEXT(" exists, but is not a directory"));
      Platform::LogError(kGetDirSource, message);
      return false;
    }
    if (CreateDirectoryW(path, nullptr)) {
      Platform::LogInfo(kGetDirSource, path);
      return true;
    }
    // Made meanwhile by another thread or process: judge it as it is.
    error = GetLastError();
    if (error != ERROR_ALREADY_EXISTS) break;
  }
  LogText(&Platform::LogError, kGetDirSource, QZ_TEXT("Unable to create "), path);
  LogLastError(kGetDirSource, error);
  return false;
}

bool Win32OfflineData::GetStorageRoot(int32_t folder) {
  wchar_t buffer[MAX_PATH] = {0};
  HRESULT result = E_FAIL;
  testhooks::StorageFolderFunction override = testhooks::GetStorageFolderOverride();
  if (override != nullptr) {
    StringBuf text;
    if (override(folder, text) && text.StrLen() < MAX_PATH) {
      wcscpy(buffer, text);
      result = S_OK;
    }
  } else {
    result = SHGetFolderPathW(nullptr, folder | CSIDL_FLAG_CREATE, nullptr, SHGFP_TYPE_CURRENT,
                              buffer);
  }
  if (result != S_OK) {
    StringBuf message(QZ_TEXT("SHGetFolderPath("));
    message.Append(folder, 10).Append(QZ_TEXT(") failed"));
    Platform::LogError(kStorageRootSource, message);
    return false;
  }
  StringBuf path(buffer);
  for (const QZChar* level : {QZ_TEXT("\\Tessary Solutions"), QZ_TEXT("\\QZ Storage")}) {
    path.Append(level);
    if (!GetDir(path)) {
      LogText(&Platform::LogError, kStorageRootSource, QZ_TEXT("Unable to get/create "), path);
      return false;
    }
  }
  storageRoot = path;
  return true;
}

bool Win32OfflineData::CreateAppRoot() {
  MutexLock guard(rootLock);
  if (appRoot.StrLen() > 0) {
    if (GetDir(appRoot)) return true;
    LogText(&Platform::LogWarn, kCreateAppRootSource,
            QZ_TEXT("Unable to get previously existing app root "), appRoot);
  }
  bool found = false;
  for (int32_t folder : kFolders) {
    if ((found = GetStorageRoot(folder))) break;
  }
  if (!found) {
    Platform::LogError(kStorageRootSource, QZ_TEXT("Unable to get/create any storage root"));
    return false;
  }
  StringBuf path;
  path.Append(storageRoot).Append(QZChar('\\')).Append(companyID);
  if (!GetDir(path)) {
    LogText(&Platform::LogError, kCreateAppRootSource, QZ_TEXT("Unable to get/create app root "),
            path);
    return false;
  }
  appRoot = path;
  return true;
}

bool Win32OfflineData::CreateFileName(StringBuf& name, uint64_t time) {
  if (!CreateAppRoot()) return false;
  name.Clear();
  name.Append(appRoot).Append(QZChar('\\'));
  AppendStoredName(name, time);
  return true;
}

bool Win32OfflineData::CreateTempFileName(StringBuf& name) {
  if (!CreateAppRoot()) return false;
  wchar_t buffer[MAX_PATH];
  // Unique number 0: the system picks the name and creates the empty file.
  if (GetTempFileNameW(appRoot, L"QZ", 0, buffer) == 0) {
    LogLastError(QZ_TEXT("Win32OfflineData::CreateTempFileName"), GetLastError());
    return false;
  }
  name = buffer;
  return true;
}

bool Win32OfflineData::Rename(const QZChar* from, const QZChar* to) {
  DWORD error = ERROR_SUCCESS;
  for (int attempt = 0; attempt < kSharingAttempts; ++attempt) {
    if (attempt > 0) Sleep(kSharingPauseMs);
    // Without MOVEFILE_REPLACE_EXISTING: an existing target makes it fail.
    if (MoveFileW(from, to)) return true;
    if (!Transient(error = GetLastError())) break;
  }
  LogLastError(QZ_TEXT("Win32OfflineData::Rename"), error);
  return false;
}

bool Win32OfflineData::Delete(const QZChar* name) {
  DWORD error = ERROR_SUCCESS;
  for (int attempt = 0; attempt < kSharingAttempts; ++attempt) {
    if (attempt > 0) Sleep(kSharingPauseMs);
    if (DeleteFileW(name)) return true;
    if (!Transient(error = GetLastError())) break;
  }
  LogLastError(QZ_TEXT("Win32OfflineData::Delete"), error);
  return false;
}

int32_t Win32OfflineData::Claim(const QZChar* stored, StringBuf& temporary) {
  // What cannot be a batch is not moved: where the drive is a Linux folder
  // (Wine), a FIFO listed like a file may be named like one, and fails to move.
  DWORD error = ERROR_SUCCESS;
  HANDLE look = OpenDiskFile(stored, FILE_READ_ATTRIBUTES,
                             FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, OPEN_EXISTING,
                             error);
  if (look != INVALID_HANDLE_VALUE) {
    CloseHandle(look);
  } else if (error == kNotARegularFile) {
    return kNotAFile;
  }
  // Only the fresh temporary's unique name is wanted.
  temporary.Clear();
  if (!CreateTempFileName(temporary) || !Delete(temporary)) return kFailed;
  for (int attempt = 0; attempt < kSharingAttempts; ++attempt) {
    if (attempt > 0) Sleep(kSharingPauseMs);
    if (MoveFileW(stored, temporary)) return kClaimed;
    error = GetLastError();
    if (error == ERROR_FILE_NOT_FOUND) return kGone;
    if (!Transient(error)) break;
  }
  LogLastError(QZ_TEXT("Win32OfflineData::Rename"), error);
  return kFailed;
}

void Win32OfflineData::ChangeCompanyID(const QZChar* id) {
  MutexLock guard(rootLock);
  companyID = id;
  appRoot.Clear();
  ForgetSearch();
}

OfflineFile* Win32OfflineData::OpenFile(const QZChar* name, bool forWrite, uint32_t& error) {
  HANDLE handle = INVALID_HANDLE_VALUE;
  DWORD code = ERROR_SUCCESS;
  for (int attempt = 0; attempt < kSharingAttempts; ++attempt) {
    if (attempt > 0) Sleep(kSharingPauseMs);
    // Truncated only once known to be a disk file: a record ends where its last field does.
    handle = forWrite ? OpenDiskFile(name, GENERIC_WRITE, 0, OPEN_ALWAYS, code)
                      : OpenDiskFile(name, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING, code);
    if (handle != INVALID_HANDLE_VALUE || !Transient(code)) break;
  }
  error = code;
  if (handle == INVALID_HANDLE_VALUE) return nullptr;
  if (forWrite && !SetEndOfFile(handle)) {
    error = GetLastError();
    CloseHandle(handle);
    return nullptr;
  }
  return new Win32OfflineFile(handle);
}

bool Win32OfflineData::GetQueueLock(bool& busy) {
  busy = false;
  if (!CreateAppRoot()) return false;
  const QZChar source[] = QZ_TEXT("Win32OfflineData::GetQueueLock");
  StringBuf path;
  path.Append(appRoot).Append(QZ_TEXT("\\q.lck"));
  // Read sharing: every sender opens the file; only one holds its byte.
  DWORD error = ERROR_SUCCESS;
  queueLockFile = OpenDiskFile(path, GENERIC_READ, FILE_SHARE_READ, OPEN_ALWAYS, error);
  if (queueLockFile == INVALID_HANDLE_VALUE) {
    LogText(&Platform::LogError, source, QZ_TEXT("Failed to create lock file in "), appRoot);
    return false;
  }
  if (LockFile(queueLockFile, 0, 0, 1, 0)) return true;
  error = GetLastError();
  // Another sender holds it: not worth a word.
  busy = error == ERROR_LOCK_VIOLATION;
  if (!busy) LogLastError(source, error);
  CloseHandle(queueLockFile);
  queueLockFile = INVALID_HANDLE_VALUE;
  return false;
}

void Win32OfflineData::ReleaseQueueLock() {
  if (queueLockFile == INVALID_HANDLE_VALUE) return;
  if (!UnlockFile(queueLockFile, 0, 0, 1, 0)) {
    LogLastError(QZ_TEXT("Win32OfflineData::ReleaseQueueLock"), GetLastError());
  }
  CloseHandle(queueLockFile);
  queueLockFile = INVALID_HANDLE_VALUE;
}

bool Win32OfflineData::ListFolder(std::vector<Entry>& entries, bool details) {
  const QZChar source[] = QZ_TEXT("Win32OfflineData::ListFolder");
  StringBuf pattern;
  pattern.Append(appRoot).Append(QZ_TEXT("\\*"));
  WIN32_FIND_DATAW found;
  HANDLE search = FindFirstFileW(pattern, &found);
  if (search == INVALID_HANDLE_VALUE) {
    const DWORD error = GetLastError();
    if (error == ERROR_FILE_NOT_FOUND) return true;
    LogLastError(source, error);
    return false;
  }
  FILETIME now;
  GetSystemTimeAsFileTime(&now);
  // File times count 100 ns units.
  const uint64_t nowTicks = FileTimeValue(now);
  do {
    const wchar_t* name = found.cFileName;
    if (name[0] == L'.' && (name[1] == 0 || (name[1] == L'.' && name[2] == 0))) continue;
    Entry entry;
    entry.name = name;
    entry.regular = (found.dwFileAttributes & kNotAFileAttributes) == 0;
    if (details && entry.regular) {
      entry.size = (static_cast<uint64_t>(found.nFileSizeHigh) << 32) | found.nFileSizeLow;
      const uint64_t written = FileTimeValue(found.ftLastWriteTime);
      entry.age = written < nowTicks ? (nowTicks - written) / 10000 : 0;
    }
    entries.push_back(std::move(entry));
  } while (FindNextFileW(search, &found));
  // Go on with what was listed.
  const DWORD error = GetLastError();
  if (error != ERROR_NO_MORE_FILES) LogLastError(source, error);
  if (!FindClose(search)) LogLastError(source, GetLastError());
  return true;
}

void Win32OfflineData::GetFullName(const Name& name, StringBuf& out) {
  out.Clear();
  out.Append(appRoot).Append(QZChar('\\')).Append(name.c_str(), name.size());
}

void Win32OfflineData::MarkClaimed(const QZChar* name) {
  HANDLE file = CreateFileW(name, FILE_WRITE_ATTRIBUTES,
                            FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                            OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT,
                            nullptr);
  FILETIME now;
  GetSystemTimeAsFileTime(&now);
  if (file == INVALID_HANDLE_VALUE || !SetFileTime(file, nullptr, nullptr, &now)) {
    LogLastError(QZ_TEXT("Win32OfflineData::MarkClaimed"), GetLastError());
  }
  if (file != INVALID_HANDLE_VALUE) CloseHandle(file);
}

}  // namespace qz
