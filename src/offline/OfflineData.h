// The abstract store of unsent batches: the identity of one stored batch and
// the file operations on the store. Platforms provide the implementation.
#ifndef QZ_OFFLINE_OFFLINEDATA_H
#define QZ_OFFLINE_OFFLINEDATA_H

#include <cstdint>

#include "qz/StringBuf.h"

namespace qz {

class OfflineData {
 public:
  virtual ~OfflineData() = default;

  // Creates or overwrites name with a complete record of this identity and the batch.
  virtual bool Write(const QZChar* name, uint64_t storedTime, uint64_t messageCount,
                     const StringBuf& messagesText) = 0;
  // The stored-batch name for that time; false when the store cannot be made.
  virtual bool CreateFileName(StringBuf& name, uint64_t time) = 0;
  // A fresh temporary file in the store.
  virtual bool CreateTempFileName(StringBuf& name) = 0;
  // Fails when the target exists.
  virtual bool Rename(const QZChar* from, const QZChar* to) = 0;
  virtual bool Delete(const QZChar* name) = 0;

  void SetMessageGroup(const QZChar* text) { messageGroup = text; }
  void SetCompanyID(const QZChar* text) { companyID = text; }
  void SetCompanyName(const QZChar* text) { companyName = text; }
  void SetApplicationID(const QZChar* text) { applicationID = text; }
  void SetApplicationName(const QZChar* text) { applicationName = text; }
  void SetApplicationVersion(const QZChar* text) { applicationVersion = text; }
  void SetApplicationType(const QZChar* text) { applicationType = text; }
  void SetApplicationInstanceID(const QZChar* text) { applicationInstanceID = text; }

 protected:
  StringBuf messageGroup;
  StringBuf companyID;
  StringBuf companyName;
  StringBuf applicationID;
  StringBuf applicationName;
  StringBuf applicationVersion;
  StringBuf applicationType;
  StringBuf applicationInstanceID;
};

}  // namespace qz

#endif  // QZ_OFFLINE_OFFLINEDATA_H
