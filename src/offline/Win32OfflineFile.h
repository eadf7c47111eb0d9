// A stored-batch file on Windows: a file handle read and written whole.
#ifndef QZ_OFFLINE_WIN32OFFLINEFILE_H
#define QZ_OFFLINE_WIN32OFFLINEFILE_H

#include <windows.h>

#include "offline/OfflineFile.h"

namespace qz {

class Win32OfflineFile : public OfflineFile {
 public:
  // Owns handle and closes it.
  explicit Win32OfflineFile(HANDLE handle);
  ~Win32OfflineFile() override;

  bool Read(void* buffer, uint32_t size) override;
  bool Write(const void* buffer, uint32_t size) override;
  bool Flush() override;

 private:
  HANDLE handle;
};

}  // namespace qz

#endif  // QZ_OFFLINE_WIN32OFFLINEFILE_H
