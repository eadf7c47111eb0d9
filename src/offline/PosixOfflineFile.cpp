#include "offline/PosixOfflineFile.h"

#include <errno.h>
#include <unistd.h>

namespace qz {

PosixOfflineFile::PosixOfflineFile(int descriptor) : descriptor(descriptor) {}

PosixOfflineFile::~PosixOfflineFile() { close(descriptor); }

bool PosixOfflineFile::Read(void* buffer, uint32_t size) {
  char* at = static_cast<char*>(buffer);
  while (size > 0) {
    const ssize_t n = read(descriptor, at, size);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      error = n == 0 ? ENODATA : static_cast<uint32_t>(errno);
      return false;
    }
    at += n;
    size -= static_cast<uint32_t>(n);
  }
  return true;
}

bool PosixOfflineFile::Write(const void* buffer, uint32_t size) {
  const char* at = static_cast<const char*>(buffer);
  while (size > 0) {
    const ssize_t n = write(descriptor, at, size);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      error = n == 0 ? EIO : static_cast<uint32_t>(errno);
      return false;
    }
    at += n;
    size -= static_cast<uint32_t>(n);
  }
  return true;
}

bool PosixOfflineFile::Flush() {
  if (fsync(descriptor) == 0) return true;
  error = static_cast<uint32_t>(errno);
  return false;
}

void AppendSystemError(StringBuf& out, uint32_t code) {
  if (code == kNotARegularFile) {
    out.Append("Not a regular file");
    return;
  }
  out.Append("errno = ").Append(code, 10);
}

}  // namespace qz
