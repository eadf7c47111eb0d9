// The offline store on Linux. Layout below the storage root as on Windows:
// "<data folder>/Tessary Solutions/QZ Storage/<company ID>/" holds the stored
// batches "<13 base-36 time digits>-<application ID>.QZ", temporaries
// "QZxxxxxx.tmp" and the lock file "q.lck".
//
// The data folder is the per-machine "/var/lib" when this process may create
// or write the storage folders there (shared by every user of the machine: the
// folders it makes are writable by all, records readable by all, since any
// user's sender claims any user's batches), else the per-user data folder of
// the desktop conventions.
#ifndef QZ_OFFLINE_POSIXOFFLINEDATA_H
#define QZ_OFFLINE_POSIXOFFLINEDATA_H

#include <string>

#include "offline/OfflineData.h"

namespace qz {

class Mutex;

class PosixOfflineData : public OfflineData {
 public:
  // Storage folder candidates, in the order they are tried.
  static constexpr int32_t kMachineFolder = 0;
  static constexpr int32_t kUserFolder = 1;

  PosixOfflineData();
  ~PosixOfflineData() override;

  bool CreateFileName(StringBuf& name, uint64_t time) override;
  bool CreateTempFileName(StringBuf& name) override;
  bool Rename(const QZChar* from, const QZChar* to) override;
  bool Delete(const QZChar* name) override;
  void ChangeCompanyID(const QZChar* id) override;

  // $XDG_DATA_HOME when it is an absolute path, else home + "/.local/share";
  // empty when neither is known.
  static std::string UserDataFolder(const char* xdgDataHome, const char* home);

 protected:
  OfflineFile* OpenFile(const QZChar* name, bool forWrite, uint32_t& error) override;
  bool CreateAppRoot() override;
  bool GetQueueLock() override;
  void ReleaseQueueLock() override;
  int32_t FindOldest(StringBuf& path) override;
  void MarkClaimed(const QZChar* name) override;
  void ListStaleTemporaries(uint64_t age, std::vector<Name>& names) override;

 private:
  bool GetDir(const std::string& path);
  bool GetStorageRoot(int32_t folder);

  Mutex* rootLock;
  // UTF-8 paths.
  std::string storageRoot;
  std::string appRoot;
  // The storage root is the per-machine one that every user shares.
  bool shared;
  // Holds the queue lock while it is open; -1 otherwise.
  int queueLockFile;
};

}  // namespace qz

#endif  // QZ_OFFLINE_POSIXOFFLINEDATA_H
