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
  // posts it; one of the results above.
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

 protected:
  OfflineData();

  // Opens name to read a record, or creates or truncates it to write one.
  // Null on failure, with the system's error code in error.
  virtual OfflineFile* OpenFile(const QZChar* name, bool forWrite, uint32_t& error) = 0;
  // Finds or makes the company's folder.
  virtual bool CreateAppRoot() = 0;
  // The lock that serialises claims among every sender of the company, in
  // this and other processes. False, silently, when another holds it.
  virtual bool GetQueueLock() = 0;
  // No effect when the lock is not held.
  virtual void ReleaseQueueLock() = 0;
  // Sets path to the full name of the stored batch whose name is smallest and
  // returns kFound; kNothingStored, or kFailed (logged) when the search failed.
  static constexpr int32_t kFound = 1;
  virtual int32_t FindOldest(StringBuf& path) = 0;
  // Stamps a just-claimed file with the time of the claim (its last write time).
  virtual void MarkClaimed(const QZChar* name) = 0;
  // Full names of the temporary files of the company's folder that nobody has
  // written or claimed for at least age milliseconds.
  virtual void ListStaleTemporaries(uint64_t age, std::vector<Name>& names) = 0;

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
  bool WriteFields(OfflineFile& file, uint64_t time, uint64_t count, const StringBuf& text);
  bool ReadFields(OfflineFile& file);
  void RestoreAbandoned(const XMLTransmitter& transmitter);

  static bool WriteInt32(OfflineFile& file, uint32_t value);
  static bool WriteInt64(OfflineFile& file, uint64_t value);
  static bool WriteUTF8(OfflineFile& file, const StringBuf& text);
  static bool ReadInt32(OfflineFile& file, uint32_t& value);
  static bool ReadInt64(OfflineFile& file, uint64_t& value);
  static bool ReadUTF8(OfflineFile& file, StringBuf& text);

  uint64_t nextRestoreTime = 0;
  // Stale temporaries that are not complete records: looked at once, then left alone.
  std::set<Name> unrestorable;
};

}  // namespace qz

#endif  // QZ_OFFLINE_OFFLINEDATA_H
