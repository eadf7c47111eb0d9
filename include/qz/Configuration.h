// Configuration: who the host is, where and how to send, and what may be collected.
/// @file
/// The settings of a run: qz::Configuration.
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

/// Who the host is, where and how to send, and what may be collected.
///
/// The host fills one and passes it to API::ApplicationStart, which copies
/// it: changing or deleting the object afterwards does not touch the run.
/// Not synchronised: one thread fills it. Setters never throw; a text that
/// cannot be copied for lack of memory is logged and the field keeps its
/// value. Null texts clear a field. Defaults are those of a new object.
class QZ_API Configuration {
 public:
  /// Every field at its default: no IDs, SSL on, opted in, online, sending
  /// enabled, offline storage allowed, personal information included, full
  /// data, a 10000 ms endpoint timeout, no transport options, no storage limit.
  Configuration();
  /// Frees the texts. The run keeps its own copy.
  ~Configuration();

  /// Resets every field, then copies all of them from other unless it is null.
  /// Assigning an object to itself changes nothing.
  Configuration& operator=(const Configuration* other);

  /// @name Identity of the host
  ///@{

  /// The company's ID: a GUID (36 characters), stored upper case. Null or
  /// empty clears it; anything else is refused with the warning "Company ID
  /// is not a valid GUID" and the ID stays as it was. Required to start.
  void SetCompanyID(const QZChar* id);
  /// The company's name, sent as given.
  void SetCompanyName(const QZChar* name);
  /// The application's ID: a GUID, as for SetCompanyID ("Application ID is
  /// not a valid GUID"). Required to start.
  void SetApplicationID(const QZChar* id);
  /// The application's type, sent as given.
  void SetApplicationType(const QZChar* type);
  /// The application's name, sent as given.
  void SetApplicationName(const QZChar* name);
  /// The application's version, sent as given.
  void SetApplicationVersion(const QZChar* version);
  /// An ID of this installation or instance, sent as given.
  void SetApplicationInstanceID(const QZChar* id);
  ///@}

  /// @name Where and how to send
  ///@{

  /// The collection endpoint: host, optional port and path, without a
  /// scheme (`collector.example.com:8443/qz/Publish`). Empty means the
  /// default built into the library (`localhost:8443` unless the build set
  /// another host, with the path `/Tessary.Web.Services.Messaging/MessagingServiceV3.svc/Publish`);
  /// a location ending in `.svc` gets `/Publish` appended.
  void SetEndpointLocation(const QZChar* location);
  /// Run identifiers chosen by the host: the message group and the default
  /// session, both GUIDs or both null/empty (which lets the library make
  /// them, one GUID for both). Returns true when both were stored or cleared;
  /// false, with a warning and nothing changed, when only one is given or
  /// either is not a GUID.
  bool SetDefaultIDs(const QZChar* messageGroup, const QZChar* defaultSession);
  /// HTTPS (the default) or plain HTTP.
  void SetUseSSL(bool useSSL);
  /// Whether a run may start and events be reported (default true). A run
  /// that is not opted in starts nothing; see API::SetOptIn.
  void SetOptIn(bool optIn);
  /// Post nothing: every batch is stored (default false). With offline
  /// storage not supported, ApplicationStart refuses to start.
  void SetOffline(bool offline);
  /// Start with sending disabled (default false); see API::SetSendDisabled.
  void SetSendDisabled(bool sendDisabled);
  /// Whether batches that cannot be posted are stored (default true). When
  /// false they are discarded; the offline sender still sends what earlier
  /// runs stored.
  void SetSupportOfflineStorage(bool supported);
  /// Leave out personal information (default false): the user and host
  /// names (otherwise sent as MD5 digests) and the network adapters'
  /// addresses, names and hardware addresses. The user is then identified by
  /// an anonymous identifier of the machine.
  void SetOmitPersonalInfo(bool omit);
  /// Collect the profile's full details (default true): model, processors,
  /// memory, and the details of drives, adapters and video.
  void SetFullData(bool fullData);
  /// Time allowed for one post, in milliseconds (default 10000). 0 or less
  /// means the default; where long is 64 bits, the 32-bit maximum caps it.
  void SetEndpointTimeout(long milliseconds);  // NOLINT(runtime/int)
  ///@}

  /// @name Reading the settings
  ///@{

  /// What the matching setter stored. Texts are never null (empty when
  /// unset) and belong to this object until the field changes or the
  /// object goes.
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
  ///@}

  /// @name Transport options beyond the defaults
  /// Each off unless a host sets it; a host that sets none sees the same wire
  /// and behaviour as without them.
  ///@{

  /// Verify the server's certificate chain and host name against the
  /// system's trust store (default false: any certificate is accepted).
  /// Revocation is not checked.
  void SetVerifyServerCertificate(bool verify);
  /// Whether certificates are verified.
  bool IsVerifyServerCertificate() const;
  /// Accept only servers whose public key has one of these SHA-256 digests:
  /// base64, as HPKP and curl write them ("sha256//" before one is allowed),
  /// several separated by ';'. Null or empty clears; text that is not such a
  /// list is refused with the warning "Certificate pin is not a list of
  /// base64 SHA-256 digests" and the pins stay as they were.
  void SetServerCertificatePin(const QZChar* pins);
  /// The pins as stored (empty when none).
  const QZChar* GetServerCertificatePin() const;
  /// Windows: reach the endpoint through the current user's proxy settings
  /// (automatic detection, configuration script, manual proxy) instead of
  /// WinHTTP's default. Linux always follows libcurl's proxy variables and
  /// ignores this setting.
  void SetUseSystemProxy(bool use);
  /// Whether the user's proxy settings are used.
  bool IsUseSystemProxy() const;
  ///@}

  /// @name Stored batches beyond the defaults
  ///@{

  /// Bytes the company's folder of stored batches may hold, shared by every
  /// process of the company; 0, the default, for no limit. A batch that would
  /// go over it makes room: set-aside batches are deleted first, then the
  /// oldest stored ones (logged as a warning with the count of messages).
  void SetOfflineStorageLimit(uint64_t bytes);
  /// The limit in bytes; 0 for none.
  uint64_t GetOfflineStorageLimit() const;
  ///@}

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
