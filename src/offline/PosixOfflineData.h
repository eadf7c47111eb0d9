// The offline store on Linux. Layout below the storage root as on Windows:
// "<data folder>/Tessary Solutions/QZ Storage/<company ID>/" holds the stored
// batches "<13 base-36 time digits>-<application ID>.QZ", temporaries
// "QZxxxxxx.tmp" and the lock file "q.lck".
//
// Stored batches are the user's own: every folder the store makes is
// private to the user (0700), every file it makes too (0600), and a folder
// of the storage is used only when it is a real folder owned by the user or
// by root that neither its group nor others may write (the data folder
// itself only needs to be closed to others, or sticky). The per-machine
// data folder "/var/lib" serves only when an administrator has made
// "Tessary Solutions/QZ Storage" there by these rules and the company's
// folder in it is, or can be made, the user's (a service's storage); the
// store never makes folders there. Otherwise the per-user data folder of
// the desktop conventions serves. A folder that breaks the rules is logged
// once per process and not used.
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
  bool GetQueueLock(bool& busy) override;
  void ReleaseQueueLock() override;
  bool ListFolder(std::vector<Entry>& entries, bool details) override;
  void GetFullName(const Name& name, StringBuf& out) override;
  int32_t Claim(const QZChar* stored, StringBuf& temporary) override;
  void MarkClaimed(const QZChar* name) override;

 private:
  bool GetDir(const std::string& path);
  // Sets appRoot to the company's folder below that candidate's storage root.
  bool UseStorageRoot(int32_t folder);

  Mutex* rootLock;
  // UTF-8 paths.
  std::string storageRoot;
  std::string appRoot;
  // Holds the queue lock while it is open; -1 otherwise.
  int queueLockFile;
  // Of the temporary names of claims.
  uint64_t nameSeed;
};

}  // namespace qz

#endif  // QZ_OFFLINE_POSIXOFFLINEDATA_H
