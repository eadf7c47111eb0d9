#include "offline/Win32OfflineFile.h"

namespace qz {

Win32OfflineFile::Win32OfflineFile(HANDLE handle) : handle(handle) {}

Win32OfflineFile::~Win32OfflineFile() { CloseHandle(handle); }

bool Win32OfflineFile::Read(void* buffer, uint32_t size) {
  char* at = static_cast<char*>(buffer);
  while (size > 0) {
    DWORD done = 0;
    if (!ReadFile(handle, at, size, &done, nullptr)) {
      error = GetLastError();
      return false;
    }
    if (done == 0) {
      error = ERROR_HANDLE_EOF;
      return false;
    }
    at += done;
    size -= done;
  }
  return true;
}

bool Win32OfflineFile::Write(const void* buffer, uint32_t size) {
  const char* at = static_cast<const char*>(buffer);
  while (size > 0) {
    DWORD done = 0;
    const BOOL written = WriteFile(handle, at, size, &done, nullptr);
    if (!written || done == 0) {
      error = written ? ERROR_WRITE_FAULT : GetLastError();
      return false;
    }
    at += done;
    size -= done;
  }
  return true;
}

bool Win32OfflineFile::Flush() {
  if (FlushFileBuffers(handle)) return true;
  error = GetLastError();
  return false;
}

void AppendSystemError(StringBuf& out, uint32_t code) {
  if (code == kNotARegularFile) {
    out.Append(QZ_TEXT("Not a regular file"));
    return;
  }
  out.Append(QZ_TEXT("GetLastError() = ")).Append(code, 10);
}

}  // namespace qz
