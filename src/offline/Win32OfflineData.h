// The offline store on the Windows file system. The storage root is
// "<shell folder>\Tessary Solutions\QZ Storage" in the first of the common,
// local and roaming application-data folders where it can be made; each
// company's applications share "<storage root>\<company ID>", which holds the
// stored batches "<13 base-36 time digits>-<application ID>.QZ", temporaries
// "QZxxxx.tmp" and the lock file "q.lck". Only disk files are opened there:
// links and other reparse points, folders, pipes and devices are refused.
#ifndef QZ_OFFLINE_WIN32OFFLINEDATA_H
#define QZ_OFFLINE_WIN32OFFLINEDATA_H

#include <windows.h>

#include "offline/OfflineData.h"

namespace qz {

class Mutex;

class Win32OfflineData : public OfflineData {
 public:
  Win32OfflineData();
  ~Win32OfflineData() override;

  bool CreateFileName(StringBuf& name, uint64_t time) override;
  bool CreateTempFileName(StringBuf& name) override;
  bool Rename(const QZChar* from, const QZChar* to) override;
  bool Delete(const QZChar* name) override;
  void ChangeCompanyID(const QZChar* id) override;

 protected:
  OfflineFile* OpenFile(const QZChar* name, bool forWrite, uint32_t& error) override;
  bool CreateAppRoot() override;
  bool GetQueueLock(bool& busy) override;
  void ReleaseQueueLock() override;
  bool ListFolder(std::vector<Entry>& entries, bool details) override;
  void GetFullName(const Name& name, StringBuf& out) override;
  int32_t Claim(const QZChar* stored, StringBuf& temporary) override;
  void MarkClaimed(const QZChar* name) override;

 private:
  bool GetDir(const StringBuf& path);
  bool GetStorageRoot(int32_t folder);

  Mutex* rootLock;
  StringBuf storageRoot;
  StringBuf appRoot;
  // Holds the queue lock while it is open.
  HANDLE queueLockFile;
};

}  // namespace qz

#endif  // QZ_OFFLINE_WIN32OFFLINEDATA_H
