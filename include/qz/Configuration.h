// Configuration: who the host is, where and how to send, and what may be collected.
#ifndef QZ_CONFIGURATION_H
#define QZ_CONFIGURATION_H

#include "qz/export.h"

#if defined(QZ_USE_FLAT_ABI)
// Compilers that cannot call the exported classes get the same ones inline.
#include "qz/qz_inline.h"
#else

#include <cstdint>

#include "qz/StringBuf.h"

namespace qz {

class QZ_API Configuration {
 public:
  Configuration();
  ~Configuration();

  // Resets every field, then copies all of them from other unless it is null.
  Configuration& operator=(const Configuration* other);

  void SetCompanyID(const QZChar* id);
  void SetCompanyName(const QZChar* name);
  void SetApplicationID(const QZChar* id);
  void SetApplicationType(const QZChar* type);
  void SetApplicationName(const QZChar* name);
  void SetApplicationVersion(const QZChar* version);
  void SetApplicationInstanceID(const QZChar* id);
  void SetEndpointLocation(const QZChar* location);
  bool SetDefaultIDs(const QZChar* messageGroup, const QZChar* defaultSession);
  void SetUseSSL(bool useSSL);
  void SetOptIn(bool optIn);
  void SetOffline(bool offline);
  void SetSendDisabled(bool sendDisabled);
  void SetSupportOfflineStorage(bool supported);
  void SetOmitPersonalInfo(bool omit);
  void SetFullData(bool fullData);
  // 0 or less means the default; where long is 64 bits, the 32-bit maximum caps it.
  void SetEndpointTimeout(long milliseconds);  // NOLINT(runtime/int)

  const QZChar* GetCompanyID() const;
  const QZChar* GetCompanyName() const;
  const QZChar* GetApplicationID() const;
  const QZChar* GetApplicationType() const;
  const QZChar* GetApplicationName() const;
  const QZChar* GetApplicationVersion() const;
  const QZChar* GetApplicationInstanceID() const;
  const QZChar* GetEndpointLocation() const;
  const QZChar* GetMessageGroup() const;
  const QZChar* GetDefaultSession() const;
  bool IsUseSSL() const;
  bool IsOptIn() const;
  bool IsOffline() const;
  bool IsSendDisabled() const;
  bool IsSupportOfflineStorage() const;
  bool IsOmitPersonalInfo() const;
  bool IsFullData() const;
  long GetEndpointTimeout() const;  // NOLINT(runtime/int)

  // Transport options beyond the defaults, each off unless a host sets it.
  // Verify the server's certificate chain and host name against the system's
  // trust store (default false: any certificate is accepted).
  void SetVerifyServerCertificate(bool verify);
  bool IsVerifyServerCertificate() const;
  // Accept only servers whose public key has one of these SHA-256 digests:
  // base64, as HPKP and curl write them ("sha256//" before one is allowed),
  // several separated by ';'. Null or empty clears; text that is not such a
  // list is refused with a warning and the pins stay as they were.
  void SetServerCertificatePin(const QZChar* pins);
  const QZChar* GetServerCertificatePin() const;
  // Windows: reach the endpoint through the current user's proxy settings
  // (automatic detection, configuration script, manual proxy) instead of
  // WinHTTP's default. Linux always follows libcurl's proxy variables.
  void SetUseSystemProxy(bool use);
  bool IsUseSystemProxy() const;

  // Stored batches beyond the defaults. Bytes the company's folder of stored
  // batches may hold, shared by every process of the company; 0, the default,
  // for no limit. A batch that would go over it makes room: set-aside batches
  // are deleted first, then the oldest stored ones (logged as a warning with
  // the count of messages).
  void SetOfflineStorageLimit(uint64_t bytes);
  uint64_t GetOfflineStorageLimit() const;

 private:
  Configuration(const Configuration&) = delete;
  Configuration& operator=(const Configuration&) = delete;
  void Reset();

  StringBuf companyID;
  StringBuf companyName;
  StringBuf applicationID;
  StringBuf applicationType;
  StringBuf applicationName;
  StringBuf applicationVersion;
  StringBuf applicationInstanceID;
  StringBuf endpointLocation;
  StringBuf messageGroup;
  StringBuf defaultSession;
  bool useSSL;
  bool optIn;
  bool offline;
  bool sendDisabled;
  bool supportOfflineStorage;
  bool omitPersonalInfo;
  bool fullData;
  int32_t endpointTimeout;

  // Transport options.
  bool verifyServerCertificate;
  StringBuf serverCertificatePin;
  bool useSystemProxy;

  // Stored batches.
  uint64_t offlineStorageLimit;
};

}  // namespace qz

#endif  // QZ_USE_FLAT_ABI

#endif  // QZ_CONFIGURATION_H
