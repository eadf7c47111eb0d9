// One open stored-batch file, read or written sequentially from its start.
// The record format is portable; only this thin layer reaches the system.
#ifndef QZ_OFFLINE_OFFLINEFILE_H
#define QZ_OFFLINE_OFFLINEFILE_H

#include <cstdint>

#include "qz/StringBuf.h"

namespace qz {

class OfflineFile {
 public:
  // Closes the file.
  virtual ~OfflineFile() = default;
  OfflineFile(const OfflineFile&) = delete;
  OfflineFile& operator=(const OfflineFile&) = delete;

  // All size bytes or false; a short read fails with the system's end-of-file code.
  virtual bool Read(void* buffer, uint32_t size) = 0;
  // All size bytes or false.
  virtual bool Write(const void* buffer, uint32_t size) = 0;
  // Returns once everything written is on the disk.
  virtual bool Flush() = 0;

  // The system's code for the last failure.
  uint32_t GetError() const { return error; }

 protected:
  OfflineFile() = default;

  uint32_t error = 0;
};

// The error of an open that found something other than a regular file (a
// folder, link, pipe, socket or device): no system error code is this large.
constexpr uint32_t kNotARegularFile = 0xFFFFFFFFu;

// Appends this system's text for a failed call's error code: "GetLastError() = "
// and the code on Windows, "errno = " and the code on Linux.
void AppendSystemError(StringBuf& out, uint32_t code);

}  // namespace qz

#endif  // QZ_OFFLINE_OFFLINEFILE_H
