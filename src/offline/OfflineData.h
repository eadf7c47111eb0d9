// The store of unsent batches: the identity and contents of one stored batch,
// its file format, and the sending of the oldest stored batch. Where the files
// live, how they are named, moved and locked is the platform's (Win32OfflineData,
// PosixOfflineData).
//
// Record file, all integers big-endian: the magic 00 06 "tqzdat"; Int32 version
// (2); UTF8 message group; Int64 stored time; UTF8 company ID, company name,
// application ID, name, version, type, instance ID, platform name, platform
// version; Int32 protocol; Int32 message count; UTF8 messages. UTF8 is an Int32
// byte count followed by that many bytes of UTF-8.
#ifndef QZ_OFFLINE_OFFLINEDATA_H
#define QZ_OFFLINE_OFFLINEDATA_H

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "qz/StringBuf.h"

namespace qz {

class OfflineFile;
class XMLTransmitter;

class OfflineData {
 public:
  // Results of SendNext.
  static constexpr int32_t kSent = 1;           // one batch posted and deleted
  static constexpr int32_t kLocked = 0;         // another sender holds the queue lock
  static constexpr int32_t kNothingStored = -1;
  static constexpr int32_t kBatchFailed = -2;   // claimed, but unreadable or its post failed
  static constexpr int32_t kFailed = -3;        // no folder, search, name, delete or move failed
  // The endpoint refused the batch itself (see SendNext): it went behind the
  // others, or was set aside. Not a failure of the endpoint.
  static constexpr int32_t kRefused = -4;
  // Refusals after which a batch is set aside.
  static constexpr uint32_t kMaximumRefusals = 3;

  using Name = std::basic_string<QZChar>;

  virtual ~OfflineData();
  OfflineData(const OfflineData&) = delete;
  OfflineData& operator=(const OfflineData&) = delete;

  // Reads a complete record into the fields.
  virtual bool Read(const QZChar* name);
  // Creates or overwrites name with a complete record of this identity and the
  // batch, on the disk when this returns; on failure the file is deleted.
  // storedTime and messageCount are not kept in the fields.
  virtual bool Write(const QZChar* name, uint64_t storedTime, uint64_t messageCount,
                     const StringBuf& messagesText);
  // The stored-batch name for that time; false when the store cannot be made.
  virtual bool CreateFileName(StringBuf& name, uint64_t time) = 0;
  // A fresh, empty temporary file in the store.
  virtual bool CreateTempFileName(StringBuf& name) = 0;
  // Fails when the target exists.
  virtual bool Rename(const QZChar* from, const QZChar* to) = 0;
  virtual bool Delete(const QZChar* name) = 0;
  // Claims the oldest stored batch of the company under the queue lock and
  // posts it; one of the results above. Only regular files are claimed; any
  // other entry named like a batch is logged once per process and passed
  // over. A batch the endpoint refuses as unacceptable (400, 413, 415) is
  // renamed behind every other, "<now>-<application ID>.r<n>.QZ" after its
  // n-th refusal, and the kMaximumRefusals-th sets it aside for good as
  // "<stored time>-<application ID>.QZ.refused". Any other failure leaves it
  // the oldest.
  //
  // One search of the folder serves many calls: its names are claimed one
  // after the other (a name another sender took first is passed over), and
  // the folder is searched again when they are used up or when looking for
  // abandoned claims.
  virtual int32_t SendNext(XMLTransmitter& transmitter);
  // Uses another company's folder from the next operation on.
  virtual void ChangeCompanyID(const QZChar* id) = 0;

  void SetMessageGroup(const QZChar* text) { messageGroup = text; }
  void SetCompanyID(const QZChar* text) { companyID = text; }
  void SetCompanyName(const QZChar* text) { companyName = text; }
  void SetApplicationID(const QZChar* text) { applicationID = text; }
  void SetApplicationName(const QZChar* text) { applicationName = text; }
  void SetApplicationVersion(const QZChar* text) { applicationVersion = text; }
  void SetApplicationType(const QZChar* text) { applicationType = text; }
  void SetApplicationInstanceID(const QZChar* text) { applicationInstanceID = text; }

  const StringBuf& GetMessageGroup() const { return messageGroup; }
  const StringBuf& GetCompanyID() const { return companyID; }
  const StringBuf& GetCompanyName() const { return companyName; }
  const StringBuf& GetApplicationID() const { return applicationID; }
  const StringBuf& GetApplicationName() const { return applicationName; }
  const StringBuf& GetApplicationVersion() const { return applicationVersion; }
  const StringBuf& GetApplicationType() const { return applicationType; }
  const StringBuf& GetApplicationInstanceID() const { return applicationInstanceID; }
  uint64_t GetStoredTime() const { return storedTime; }
  uint32_t GetProtocol() const { return protocol; }
  uint64_t GetMessageCount() const { return messageCount; }
  const StringBuf& GetMessagesText() const { return messagesText; }
  // platformName "/" platformVersion " offline", for example Win32/1.0 offline.
  StringBuf& GetPlatformText(StringBuf& out) const;

  // Bytes the company's folder may hold; 0, the default, for no limit.
  void SetStorageLimit(uint64_t bytes) { storageLimit = bytes; }
  uint64_t GetStorageLimit() const { return storageLimit; }

  // Room for a batch of count messages just written to a temporary file of
  // the company's folder. Under a storage limit, while the folder with the new
  // batch would hold more than the limit, set-aside batches are deleted,
  // then the oldest stored ones, and the dropped messages are logged; the
  // queue lock, taken for this, keeps every other store and claim out until
  // the Room ends, by when the caller has given the batch its name. Without
  // a limit it does nothing.
  class Room {
   public:
    Room(OfflineData& store, uint64_t count);
    ~Room();
    Room(const Room&) = delete;
    Room& operator=(const Room&) = delete;
    // False when the batch cannot fit even in an otherwise emptied folder:
    // it is then counted as dropped, and the caller deletes it.
    bool Fits() const { return fits; }

   private:
    OfflineData& store;
    bool locked = false;
    bool fits = true;
  };

 protected:
  OfflineData();

  // One entry of the company's folder.
  struct Entry {
    Name name;              // the name alone, without the folder
    bool regular = false;   // a regular file: no folder, link, pipe, socket or device
    uint64_t size = 0;      // of a regular file, when listed with details
    uint64_t age = 0;       // milliseconds since its last write, when listed with details
  };

  // Opens name to read a record, or creates it or opens it truncated to write
  // one. Never blocks and never follows a link; anything but a regular file
  // is refused, judged on what was opened, with kNotARegularFile. Null on
  // failure, with the system's error code in error.
  virtual OfflineFile* OpenFile(const QZChar* name, bool forWrite, uint32_t& error) = 0;
  // Finds or makes the company's folder.
  virtual bool CreateAppRoot() = 0;
  // The lock that serialises claims among every sender of the company, in
  // this and other processes. False, silently and with busy set, when
  // another holds it; false, logged, when it cannot be had at all.
  virtual bool GetQueueLock(bool& busy) = 0;
  // No effect when the lock is not held.
  virtual void ReleaseQueueLock() = 0;
  // Every entry of the company's folder, in no order; sizes and ages only
  // with details, which costs a look at each entry. False (logged) when the
  // folder cannot be read.
  virtual bool ListFolder(std::vector<Entry>& entries, bool details) = 0;
  // out = the full name of an entry of the company's folder.
  virtual void GetFullName(const Name& name, StringBuf& out) = 0;
  // Moves a stored batch to a fresh temporary name of the folder, set in
  // temporary. kClaimed; kGone, silently, when there is nothing under that
  // name any more (another sender claimed it first); kNotAFile, silently,
  // when what is there is known not to be a regular file; kFailed, logged.
  static constexpr int32_t kClaimed = 1;
  static constexpr int32_t kGone = 0;
  static constexpr int32_t kNotAFile = 2;
  virtual int32_t Claim(const QZChar* stored, StringBuf& temporary) = 0;
  // Stamps a just-claimed file with the time of the claim (its last write time).
  virtual void MarkClaimed(const QZChar* name) = 0;

  // The folder changed hands: the names of the last search are not its own.
  void ForgetSearch() { pending.clear(); }

  // Appends the time in base 36, upper case, padded with "0" to 13 characters,
  // then "-", the application ID and ".QZ": names sort by the time of storing.
  void AppendStoredName(StringBuf& out, uint64_t time) const;

  uint32_t storageVersion;
  StringBuf messageGroup;
  uint64_t storedTime;
  StringBuf companyID;
  StringBuf companyName;
  StringBuf applicationID;
  StringBuf applicationName;
  StringBuf applicationVersion;
  StringBuf applicationType;
  StringBuf applicationInstanceID;
  StringBuf platformName;
  StringBuf platformVersion;
  uint32_t protocol;
  uint64_t messageCount;
  StringBuf messagesText;

 private:
  int32_t SendOldest(XMLTransmitter& transmitter, const StringBuf& keptCompanyID,
                     const StringBuf& keptApplicationID);
  int32_t SendClaimed(XMLTransmitter& transmitter, std::unique_ptr<OfflineFile>& file,
                      const Name& name, const StringBuf& path, const StringBuf& temporary,
                      bool& putBack);
  // Fills pending from a new search; false (logged) when the folder cannot be read.
  bool Search();
  // Moves a refused batch, claimed as temporary, behind the others or aside.
  void MoveRefused(const Name& name, const StringBuf& path, const StringBuf& temporary);
  bool WriteFields(OfflineFile& file, uint64_t time, uint64_t count, const StringBuf& text);
  bool ReadRecord(OfflineFile& file);
  bool ReadFields(OfflineFile& file);
  // Whether it looked (every kRestorePeriodMs).
  bool RestoreAbandoned(const XMLTransmitter& transmitter);
  // REQUIRES: the queue lock is held, or could not be had at all.
  bool MakeRoom(uint64_t count);
  // The message count of the stored batch in name, read without touching
  // the fields; 0 when it cannot be read.
  uint64_t ReadMessageCount(const QZChar* name);

  static bool WriteInt32(OfflineFile& file, uint32_t value);
  static bool WriteInt64(OfflineFile& file, uint64_t value);
  static bool WriteUTF8(OfflineFile& file, const StringBuf& text);
  static bool ReadInt32(OfflineFile& file, uint32_t& value);
  static bool ReadInt64(OfflineFile& file, uint64_t& value);
  static bool ReadUTF8(OfflineFile& file, StringBuf& text);

  uint64_t nextRestoreTime = 0;
  // Stale temporaries that are not complete records: looked at once, then left alone.
  std::set<Name> unrestorable;
  // Names of stored batches found by the last search and not yet claimed,
  // newest first: the oldest is at the back.
  std::vector<Name> pending;
  uint64_t storageLimit = 0;
};

}  // namespace qz

#endif  // QZ_OFFLINE_OFFLINEDATA_H
