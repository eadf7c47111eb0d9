#include "qz/Configuration.h"

#include <algorithm>

#include "delivery/ServerPins.h"
#include "platform/CaughtException.h"
#include "platform/Platform.h"
#include "types/Guid.h"

namespace qz {
namespace {

constexpr int32_t kDefaultEndpointTimeout = 10000;

bool IsEmpty(const QZChar* text) { return text == nullptr || text[0] == 0; }

// Identifiers are kept in upper case so that equal GUIDs compare equal as text.
void StoreUpperCase(StringBuf& field, const QZChar* guid) {
  field = guid;
  field.ToUpperCase();
}

// Null or empty clears; a GUID is stored in upper case; anything else is
// refused with a warning and the field keeps its value.
void SetIdentifier(StringBuf& field, const QZChar* id, const QZChar* source,
                   const QZChar* warning) noexcept {
  if (IsEmpty(id)) {
    field.Clear();
  } else if (IsValidGUID(id)) {
    AssignOrLog(field, id, source);
    field.ToUpperCase();
  } else {
    Platform::LogWarn(source, warning);
  }
}

}  // namespace

Configuration::Configuration()
    : companyID(32),
      companyName(32),
      applicationID(32),
      applicationType(32),
      applicationName(32),
      applicationVersion(32),
      applicationInstanceID(32),
      endpointLocation(32),
      messageGroup(32),
      defaultSession(32),
      serverCertificatePin(32) {
  Reset();
}

Configuration::~Configuration() = default;

void Configuration::Reset() {
  companyID.Clear();
  companyName.Clear();
  applicationID.Clear();
  applicationType.Clear();
  applicationName.Clear();
  applicationVersion.Clear();
  applicationInstanceID.Clear();
  endpointLocation.Clear();
  messageGroup.Clear();
  defaultSession.Clear();
  useSSL = true;
  optIn = true;
  offline = false;
  sendDisabled = false;
  supportOfflineStorage = true;
  omitPersonalInfo = false;
  fullData = true;
  endpointTimeout = kDefaultEndpointTimeout;
  verifyServerCertificate = false;
  serverCertificatePin.Clear();
  useSystemProxy = false;
  offlineStorageLimit = 0;
}

// When memory runs out part way, the copy is left incomplete (and logged).
Configuration& Configuration::operator=(const Configuration* other) try {
  // Resetting first would wipe the source of a self-assignment.
  if (other == this) return *this;
  Reset();
  if (other == nullptr) return *this;
  companyID = other->companyID;
  companyName = other->companyName;
  applicationID = other->applicationID;
  applicationType = other->applicationType;
  applicationName = other->applicationName;
  applicationVersion = other->applicationVersion;
  applicationInstanceID = other->applicationInstanceID;
  endpointLocation = other->endpointLocation;
  messageGroup = other->messageGroup;
  defaultSession = other->defaultSession;
  useSSL = other->useSSL;
  optIn = other->optIn;
  offline = other->offline;
  sendDisabled = other->sendDisabled;
  supportOfflineStorage = other->supportOfflineStorage;
  omitPersonalInfo = other->omitPersonalInfo;
  fullData = other->fullData;
  endpointTimeout = other->endpointTimeout;
  verifyServerCertificate = other->verifyServerCertificate;
  serverCertificatePin = other->serverCertificatePin;
  useSystemProxy = other->useSystemProxy;
  offlineStorageLimit = other->offlineStorageLimit;
  return *this;
} catch (...) {
  LogCaughtException(QZ_TEXT("Configuration::operator="));
  return *this;
}

void Configuration::SetCompanyID(const QZChar* id) {
  SetIdentifier(companyID, id, QZ_TEXT("Configuration::SetCompanyID"),
                QZ_TEXT("Company ID is not a valid GUID"));
}

void Configuration::SetApplicationID(const QZChar* id) {
  SetIdentifier(applicationID, id, QZ_TEXT("Configuration::SetApplicationID"),
                QZ_TEXT("Application ID is not a valid GUID"));
}

void Configuration::SetCompanyName(const QZChar* name) {
  AssignOrLog(companyName, name, QZ_TEXT("Configuration::SetCompanyName"));
}
void Configuration::SetApplicationType(const QZChar* type) {
  AssignOrLog(applicationType, type, QZ_TEXT("Configuration::SetApplicationType"));
}
void Configuration::SetApplicationName(const QZChar* name) {
  AssignOrLog(applicationName, name, QZ_TEXT("Configuration::SetApplicationName"));
}
void Configuration::SetApplicationVersion(const QZChar* version) {
  AssignOrLog(applicationVersion, version, QZ_TEXT("Configuration::SetApplicationVersion"));
}
void Configuration::SetApplicationInstanceID(const QZChar* id) {
  AssignOrLog(applicationInstanceID, id, QZ_TEXT("Configuration::SetApplicationInstanceID"));
}
void Configuration::SetEndpointLocation(const QZChar* location) {
  AssignOrLog(endpointLocation, location, QZ_TEXT("Configuration::SetEndpointLocation"));
}

bool Configuration::SetDefaultIDs(const QZChar* group, const QZChar* session) try {
  const QZChar* source = QZ_TEXT("Configuration::SetDefaultIDs");
  if (!IsEmpty(group)) {
    if (!IsValidGUID(group)) {
      Platform::LogWarn(source, QZ_TEXT("Message group is not a valid GUID"));
      return false;
    }
    // A group never goes in without its session: the pair is set or clear as one.
    if (!IsValidGUID(session)) {
      Platform::LogWarn(source, QZ_TEXT("Default Session is not a valid GUID"));
      return false;
    }
    StoreUpperCase(messageGroup, group);
    StoreUpperCase(defaultSession, session);
    return true;
  }
  if (!IsEmpty(session)) {
    Platform::LogWarn(source,
                      QZ_TEXT("Both Message Group and Default Session must be null/blank to reset values"));
    return false;
  }
  messageGroup.Clear();
  defaultSession.Clear();
  return true;
} catch (...) {
  // Both or neither: a pair half stored is no pair.
  messageGroup.Clear();
  defaultSession.Clear();
  LogCaughtException(QZ_TEXT("Configuration::SetDefaultIDs"));
  return false;
}

void Configuration::SetUseSSL(bool value) { useSSL = value; }
void Configuration::SetOptIn(bool value) { optIn = value; }
void Configuration::SetOffline(bool value) { offline = value; }
void Configuration::SetSendDisabled(bool value) { sendDisabled = value; }
void Configuration::SetSupportOfflineStorage(bool value) { supportOfflineStorage = value; }
void Configuration::SetOmitPersonalInfo(bool value) { omitPersonalInfo = value; }
void Configuration::SetFullData(bool value) { fullData = value; }

void Configuration::SetEndpointTimeout(long milliseconds) {  // NOLINT(runtime/int)
  // A zero or negative limit would make every exchange fail at once. long is
  // 64 bits on Linux: a larger value is capped, not cut to its low bits.
  const int64_t wide = milliseconds;
  endpointTimeout = wide > 0 ? static_cast<int32_t>(std::min<int64_t>(wide, INT32_MAX))
                             : kDefaultEndpointTimeout;
}

const QZChar* Configuration::GetCompanyID() const { return companyID.ToString(); }
const QZChar* Configuration::GetCompanyName() const { return companyName.ToString(); }
const QZChar* Configuration::GetApplicationID() const { return applicationID.ToString(); }
const QZChar* Configuration::GetApplicationType() const { return applicationType.ToString(); }
const QZChar* Configuration::GetApplicationName() const { return applicationName.ToString(); }
const QZChar* Configuration::GetApplicationVersion() const { return applicationVersion.ToString(); }
const QZChar* Configuration::GetApplicationInstanceID() const {
  return applicationInstanceID.ToString();
}
const QZChar* Configuration::GetEndpointLocation() const { return endpointLocation.ToString(); }
const QZChar* Configuration::GetMessageGroup() const { return messageGroup.ToString(); }
const QZChar* Configuration::GetDefaultSession() const { return defaultSession.ToString(); }
bool Configuration::IsUseSSL() const { return useSSL; }
bool Configuration::IsOptIn() const { return optIn; }
bool Configuration::IsOffline() const { return offline; }
bool Configuration::IsSendDisabled() const { return sendDisabled; }
bool Configuration::IsSupportOfflineStorage() const { return supportOfflineStorage; }
bool Configuration::IsOmitPersonalInfo() const { return omitPersonalInfo; }
bool Configuration::IsFullData() const { return fullData; }
long Configuration::GetEndpointTimeout() const { return endpointTimeout; }  // NOLINT(runtime/int)

void Configuration::SetVerifyServerCertificate(bool value) { verifyServerCertificate = value; }
bool Configuration::IsVerifyServerCertificate() const { return verifyServerCertificate; }

void Configuration::SetServerCertificatePin(const QZChar* pins) try {
  const QZChar* source = QZ_TEXT("Configuration::SetServerCertificatePin");
  ServerPins parsed;
  if (!parsed.Parse(pins)) {
    Platform::LogWarn(source, QZ_TEXT("Certificate pin is not a list of base64 SHA-256 digests"));
    return;
  }
  AssignOrLog(serverCertificatePin, pins, source);
} catch (...) {
  LogCaughtException(QZ_TEXT("Configuration::SetServerCertificatePin"));
}
const QZChar* Configuration::GetServerCertificatePin() const {
  return serverCertificatePin.ToString();
}

void Configuration::SetUseSystemProxy(bool value) { useSystemProxy = value; }
bool Configuration::IsUseSystemProxy() const { return useSystemProxy; }
void Configuration::SetOfflineStorageLimit(uint64_t bytes) { offlineStorageLimit = bytes; }
uint64_t Configuration::GetOfflineStorageLimit() const { return offlineStorageLimit; }

}  // namespace qz
