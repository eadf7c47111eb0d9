// A stored-batch file on Linux: a file descriptor read and written whole.
#ifndef QZ_OFFLINE_POSIXOFFLINEFILE_H
#define QZ_OFFLINE_POSIXOFFLINEFILE_H

#include "offline/OfflineFile.h"

namespace qz {

class PosixOfflineFile : public OfflineFile {
 public:
  // Owns descriptor and closes it.
  explicit PosixOfflineFile(int descriptor);
  ~PosixOfflineFile() override;

  bool Read(void* buffer, uint32_t size) override;
  bool Write(const void* buffer, uint32_t size) override;
  bool Flush() override;

 private:
  int descriptor;
};

}  // namespace qz

#endif  // QZ_OFFLINE_POSIXOFFLINEFILE_H
