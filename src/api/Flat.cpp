// The flat interface: each function forwards to one operation of the classes,
// adding only the null-handle check, the int-to-bool conversions and a guard
// that keeps exceptions out of hosts written in other languages.
#include "qz/qz_flat.h"

#include <exception>
#include <new>

#include "platform/CaughtException.h"
#include "qz/API.h"
#include "qz/BinaryInfo.h"
#include "qz/Configuration.h"
#include "qz/ExceptionInfo.h"
#include "qz/ExtendedKeys.h"
#include "qz/FlowController.h"
#include "qz/StringBuf.h"

namespace {

using qz::API;

// No exception may unwind into a host that cannot catch it: the call is
// dropped and logged with the function's name, as a Create function returns
// null when memory runs out.
template <typename Call>
void Guarded(const QZChar* source, Call call) noexcept {
  try {
    call();
  } catch (...) {
    qz::LogCaughtException(source);
  }
}

template <typename T, typename Call>
void WithHandle(const QZChar* source, T* handle, Call call) noexcept {
  if (handle != nullptr) Guarded(source, [&] { call(*handle); });
}

bool Flag(int value) { return value != 0; }

const QZChar kNoText[] = QZ_TEXT("");

// A getter's result, or none for a null handle.
template <typename T, typename R, typename Result>
Result Read(const T* handle, R (T::*get)() const, Result none) {
  return handle != nullptr ? static_cast<Result>((handle->*get)()) : none;
}
template <typename T>
const QZChar* Text(const T* handle, const QZChar* (T::*get)() const) {
  return Read(handle, get, kNoText);
}
template <typename T>
int IsSet(const T* handle, bool (T::*get)() const) {
  return Read(handle, get, false) ? 1 : 0;
}

// StringBuf's operations raise bad_alloc as a standard container would; here
// that becomes 0 (the string is left as it was), anything else is logged.
template <typename Call>
int Grown(const QZChar* source, qz::StringBuf* text, Call call) noexcept {
  if (text == nullptr) return 1;
  try {
    call(*text);
    return 1;
  } catch (const std::bad_alloc&) {
    return 0;
  } catch (...) {
    qz::LogCaughtException(source);
    return 0;
  }
}

// What() of an exception whose text the caller gave.
class TextException : public std::exception {
 public:
  explicit TextException(const char* what) : text(what) {}
  const char* what() const noexcept override { return text; }

 private:
  const char* text;
};

}  // namespace

extern "C" {

QZConfiguration* CreateConfiguration(void) {
  return qz::NewOrNull<qz::Configuration>(QZ_TEXT("CreateConfiguration"));
}
void DeleteConfiguration(QZConfiguration* config) { delete config; }
QZBinaryInfo* CreateBinaryInfo(void) {
  return qz::NewOrNull<qz::BinaryInfo>(QZ_TEXT("CreateBinaryInfo"));
}
void DeleteBinaryInfo(QZBinaryInfo* binaryInfo) { delete binaryInfo; }
QZExtendedKeys* CreateExtendedKeys(void) {
  return qz::NewOrNull<qz::ExtendedKeys>(QZ_TEXT("CreateExtendedKeys"));
}
void DeleteExtendedKeys(QZExtendedKeys* keys) { delete keys; }
QZFlowController* CreateFlowController(void) {
  return qz::NewOrNull<qz::FlowController>(QZ_TEXT("CreateFlowController"));
}
void DeleteFlowController(QZFlowController* flow) { delete flow; }
QZExceptionInfo* CreateExceptionInfo(void) {
  return qz::NewOrNull<qz::ExceptionInfo>(QZ_TEXT("CreateExceptionInfo"));
}
void DeleteExceptionInfo(QZExceptionInfo* info) { delete info; }

void SetCompanyID(QZConfiguration* config, const QZChar* id) {
  WithHandle(QZ_TEXT("SetCompanyID"), config, [=](qz::Configuration& c) { c.SetCompanyID(id); });
}
void SetCompanyName(QZConfiguration* config, const QZChar* name) {
  WithHandle(QZ_TEXT("SetCompanyName"), config,
             [=](qz::Configuration& c) { c.SetCompanyName(name); });
}
void SetApplicationID(QZConfiguration* config, const QZChar* id) {
  WithHandle(QZ_TEXT("SetApplicationID"), config,
             [=](qz::Configuration& c) { c.SetApplicationID(id); });
}
void SetApplicationName(QZConfiguration* config, const QZChar* name) {
  WithHandle(QZ_TEXT("SetApplicationName"), config,
             [=](qz::Configuration& c) { c.SetApplicationName(name); });
}
void SetApplicationType(QZConfiguration* config, const QZChar* type) {
  WithHandle(QZ_TEXT("SetApplicationType"), config,
             [=](qz::Configuration& c) { c.SetApplicationType(type); });
}
void SetApplicationVersion(QZConfiguration* config, const QZChar* version) {
  WithHandle(QZ_TEXT("SetApplicationVersion"), config,
             [=](qz::Configuration& c) { c.SetApplicationVersion(version); });
}
void SetApplicationInstanceID(QZConfiguration* config, const QZChar* id) {
  WithHandle(QZ_TEXT("SetApplicationInstanceID"), config,
             [=](qz::Configuration& c) { c.SetApplicationInstanceID(id); });
}
void SetEndpointLocation(QZConfiguration* config, const QZChar* location) {
  WithHandle(QZ_TEXT("SetEndpointLocation"), config,
             [=](qz::Configuration& c) { c.SetEndpointLocation(location); });
}
void SetEndpointUseSSL(QZConfiguration* config, int useSSL) {
  WithHandle(QZ_TEXT("SetEndpointUseSSL"), config,
             [=](qz::Configuration& c) { c.SetUseSSL(Flag(useSSL)); });
}
void SetEndpointTimeout(QZConfiguration* config, long milliseconds) {  // NOLINT(runtime/int)
  WithHandle(QZ_TEXT("SetEndpointTimeout"), config,
             [=](qz::Configuration& c) { c.SetEndpointTimeout(milliseconds); });
}
void SetInitialOptIn(QZConfiguration* config, int optIn) {
  WithHandle(QZ_TEXT("SetInitialOptIn"), config,
             [=](qz::Configuration& c) { c.SetOptIn(Flag(optIn)); });
}
void SetOffline(QZConfiguration* config, int offline) {
  WithHandle(QZ_TEXT("SetOffline"), config,
             [=](qz::Configuration& c) { c.SetOffline(Flag(offline)); });
}
void SetInitialSendDisabled(QZConfiguration* config, int sendDisabled) {
  WithHandle(QZ_TEXT("SetInitialSendDisabled"), config,
             [=](qz::Configuration& c) { c.SetSendDisabled(Flag(sendDisabled)); });
}
void SetSupportOfflineStorage(QZConfiguration* config, int supported) {
  WithHandle(QZ_TEXT("SetSupportOfflineStorage"), config,
             [=](qz::Configuration& c) { c.SetSupportOfflineStorage(Flag(supported)); });
}
void SetOmitPersonalInfo(QZConfiguration* config, int omit) {
  WithHandle(QZ_TEXT("SetOmitPersonalInfo"), config,
             [=](qz::Configuration& c) { c.SetOmitPersonalInfo(Flag(omit)); });
}
void SetFullData(QZConfiguration* config, int fullData) {
  WithHandle(QZ_TEXT("SetFullData"), config,
             [=](qz::Configuration& c) { c.SetFullData(Flag(fullData)); });
}
int SetDefaultIDs(QZConfiguration* config, const QZChar* messageGroup,
                  const QZChar* defaultSession) {
  bool stored = false;
  WithHandle(QZ_TEXT("SetDefaultIDs"), config, [&](qz::Configuration& c) {
    stored = c.SetDefaultIDs(messageGroup, defaultSession);
  });
  return stored ? 1 : 0;
}

void SetBinaryInfoID(QZBinaryInfo* binaryInfo, const QZChar* id) {
  WithHandle(QZ_TEXT("SetBinaryInfoID"), binaryInfo, [=](qz::BinaryInfo& b) { b.SetID(id); });
}
void SetBinaryInfoName(QZBinaryInfo* binaryInfo, const QZChar* name) {
  WithHandle(QZ_TEXT("SetBinaryInfoName"), binaryInfo, [=](qz::BinaryInfo& b) { b.SetName(name); });
}
void SetBinaryInfoVersion(QZBinaryInfo* binaryInfo, const QZChar* version) {
  WithHandle(QZ_TEXT("SetBinaryInfoVersion"), binaryInfo,
             [=](qz::BinaryInfo& b) { b.SetVersion(version); });
}
void SetBinaryInfoClassName(QZBinaryInfo* binaryInfo, const QZChar* className) {
  WithHandle(QZ_TEXT("SetBinaryInfoClassName"), binaryInfo,
             [=](qz::BinaryInfo& b) { b.SetClassName(className); });
}
void SetBinaryInfoMethodName(QZBinaryInfo* binaryInfo, const QZChar* methodName) {
  WithHandle(QZ_TEXT("SetBinaryInfoMethodName"), binaryInfo,
             [=](qz::BinaryInfo& b) { b.SetMethodName(methodName); });
}
void SetBinaryInfoModifiedDate(QZBinaryInfo* binaryInfo, uint64_t milliseconds) {
  WithHandle(QZ_TEXT("SetBinaryInfoModifiedDate"), binaryInfo,
             [=](qz::BinaryInfo& b) { b.SetModifiedDate(milliseconds); });
}

void AddExtendedKeysString(QZExtendedKeys* keys, const QZChar* key, const QZChar* value) {
  WithHandle(QZ_TEXT("AddExtendedKeysString"), keys,
             [=](qz::ExtendedKeys& k) { k.Add(key, value); });
}
void AddExtendedKeysInt(QZExtendedKeys* keys, const QZChar* key, int value) {
  WithHandle(QZ_TEXT("AddExtendedKeysInt"), keys,
             [=](qz::ExtendedKeys& k) { k.Add(key, static_cast<int32_t>(value)); });
}
void AddExtendedKeysLong(QZExtendedKeys* keys, const QZChar* key, long value) {  // NOLINT
  WithHandle(QZ_TEXT("AddExtendedKeysLong"), keys, [=](qz::ExtendedKeys& k) { k.Add(key, value); });
}
void AddExtendedKeysFloat(QZExtendedKeys* keys, const QZChar* key, float value) {
  WithHandle(QZ_TEXT("AddExtendedKeysFloat"), keys,
             [=](qz::ExtendedKeys& k) { k.Add(key, value); });
}
void AddExtendedKeysDouble(QZExtendedKeys* keys, const QZChar* key, double value) {
  WithHandle(QZ_TEXT("AddExtendedKeysDouble"), keys,
             [=](qz::ExtendedKeys& k) { k.Add(key, value); });
}

// The int is widened with its sign, so -1 asks for the largest size and the
// controller's own limits apply.
void SetFlowControllerQueueSize(QZFlowController* flow, int size) {
  WithHandle(QZ_TEXT("SetFlowControllerQueueSize"), flow, [=](qz::FlowController& f) {
    f.SetQueueSize(static_cast<size_t>(static_cast<int64_t>(size)));
  });
}
void SetFlowControllerHighWater(QZFlowController* flow, int highWater) {
  WithHandle(QZ_TEXT("SetFlowControllerHighWater"), flow, [=](qz::FlowController& f) {
    f.SetHighWater(static_cast<size_t>(static_cast<int64_t>(highWater)));
  });
}
void SetFlowControllerMaximumInterval(QZFlowController* flow, unsigned int milliseconds) {
  WithHandle(QZ_TEXT("SetFlowControllerMaximumInterval"), flow,
             [=](qz::FlowController& f) { f.SetMaximumInterval(milliseconds); });
}
void SetFlowControllerMinimumInterval(QZFlowController* flow, unsigned int milliseconds) {
  WithHandle(QZ_TEXT("SetFlowControllerMinimumInterval"), flow,
             [=](qz::FlowController& f) { f.SetMinimumInterval(milliseconds); });
}
void SetFlowControllerGain(QZFlowController* flow, unsigned int percent) {
  WithHandle(QZ_TEXT("SetFlowControllerGain"), flow,
             [=](qz::FlowController& f) { f.SetGain(percent); });
}
void SetFlowControllerQuietGain(QZFlowController* flow, unsigned int percent) {
  WithHandle(QZ_TEXT("SetFlowControllerQuietGain"), flow,
             [=](qz::FlowController& f) { f.SetQuietGain(percent); });
}
void SetFlowControllerMaximumSequentialFailureCount(QZFlowController* flow, unsigned int count) {
  WithHandle(QZ_TEXT("SetFlowControllerMaximumSequentialFailureCount"), flow,
             [=](qz::FlowController& f) { f.SetMaximumSequentialFailureCount(count); });
}
void SetFlowControllerRetryTimeout(QZFlowController* flow, long milliseconds) {  // NOLINT
  WithHandle(QZ_TEXT("SetFlowControllerRetryTimeout"), flow,
             [=](qz::FlowController& f) { f.SetRetryTimeout(milliseconds); });
}

void SetExceptionInfoEventType(QZExceptionInfo* info, int eventType) {
  WithHandle(QZ_TEXT("SetExceptionInfoEventType"), info,
             [=](qz::ExceptionInfo& e) { e.SetEventType(static_cast<int32_t>(eventType)); });
}
void SetExceptionInfoType(QZExceptionInfo* info, const QZChar* type) {
  WithHandle(QZ_TEXT("SetExceptionInfoType"), info, [=](qz::ExceptionInfo& e) { e.SetType(type); });
}
void SetExceptionInfoMessage(QZExceptionInfo* info, const QZChar* message) {
  WithHandle(QZ_TEXT("SetExceptionInfoMessage"), info,
             [=](qz::ExceptionInfo& e) { e.SetMessage(message); });
}
void SetExceptionInfoUserContact(QZExceptionInfo* info, const QZChar* contact) {
  WithHandle(QZ_TEXT("SetExceptionInfoUserContact"), info,
             [=](qz::ExceptionInfo& e) { e.SetUserContact(contact); });
}
void SetExceptionInfoUserComment(QZExceptionInfo* info, const QZChar* comment) {
  WithHandle(QZ_TEXT("SetExceptionInfoUserComment"), info,
             [=](qz::ExceptionInfo& e) { e.SetUserComment(comment); });
}

int ApplicationStart(const QZConfiguration* config, const QZFlowController* flow,
                     const QZBinaryInfo* binaryInfo, const QZExtendedKeys* keys) {
  bool started = false;
  Guarded(QZ_TEXT("ApplicationStart"),
          [&] { started = API::ApplicationStart(config, flow, binaryInfo, keys); });
  return started ? 1 : 0;
}
void ApplicationStop(const QZBinaryInfo* binaryInfo, const QZExtendedKeys* keys) {
  Guarded(QZ_TEXT("ApplicationStop"), [=] { API::ApplicationStop(binaryInfo, keys); });
}
void SessionStart(const QZChar* session, const QZBinaryInfo* binaryInfo,
                  const QZExtendedKeys* keys) {
  Guarded(QZ_TEXT("SessionStart"), [=] { API::SessionStart(session, binaryInfo, keys); });
}
void SessionStop(const QZChar* session, const QZBinaryInfo* binaryInfo,
                 const QZExtendedKeys* keys) {
  Guarded(QZ_TEXT("SessionStop"), [=] { API::SessionStop(session, binaryInfo, keys); });
}
void FeatureStart(const QZChar* name, const QZChar* session, const QZBinaryInfo* binaryInfo,
                  const QZExtendedKeys* keys) {
  Guarded(QZ_TEXT("FeatureStart"), [=] { API::FeatureStart(name, session, binaryInfo, keys); });
}
void FeatureStop(const QZChar* name, const QZChar* session, const QZBinaryInfo* binaryInfo,
                 const QZExtendedKeys* keys) {
  Guarded(QZ_TEXT("FeatureStop"), [=] { API::FeatureStop(name, session, binaryInfo, keys); });
}
void FeatureTick(const QZChar* name, const QZChar* session, const QZBinaryInfo* binaryInfo,
                 const QZExtendedKeys* keys) {
  Guarded(QZ_TEXT("FeatureTick"), [=] { API::FeatureTick(name, session, binaryInfo, keys); });
}
void PerformanceProbe(const QZChar* name, const QZChar* session, const QZBinaryInfo* binaryInfo,
                      const QZExtendedKeys* keys) {
  Guarded(QZ_TEXT("PerformanceProbe"),
          [=] { API::PerformanceProbe(name, session, binaryInfo, keys); });
}
void SystemProfile(const QZChar* session, const QZBinaryInfo* binaryInfo,
                   const QZExtendedKeys* keys) {
  Guarded(QZ_TEXT("SystemProfile"), [=] { API::SystemProfile(session, binaryInfo, keys); });
}
void ReportException(const QZExceptionInfo* info, const QZChar* session,
                     const QZBinaryInfo* binaryInfo, const QZExtendedKeys* keys) {
  Guarded(QZ_TEXT("ReportException"),
          [=] { API::ReportException(info, session, binaryInfo, keys); });
}
void SetOptIn(int optIn) {
  Guarded(QZ_TEXT("SetOptIn"), [=] { API::SetOptIn(Flag(optIn)); });
}
void SetSendDisabled(int disabled) {
  Guarded(QZ_TEXT("SetSendDisabled"), [=] { API::SetSendDisabled(Flag(disabled)); });
}
void SendMessages(void) {
  Guarded(QZ_TEXT("SendMessages"), [] { API::SendMessages(); });
}
int IsApplicationStarted(void) { return API::IsApplicationStarted() ? 1 : 0; }
const QZChar* GetDefaultSession(void) { return API::GetDefaultSession(); }
const QZChar* GetMessageGroup(void) { return API::GetMessageGroup(); }
void SetLogLevel(int level) { API::SetLogLevel(level); }

void SetVerifyServerCertificate(QZConfiguration* config, int verify) {
  WithHandle(QZ_TEXT("SetVerifyServerCertificate"), config,
             [=](qz::Configuration& c) { c.SetVerifyServerCertificate(Flag(verify)); });
}
void SetServerCertificatePin(QZConfiguration* config, const QZChar* pins) {
  WithHandle(QZ_TEXT("SetServerCertificatePin"), config,
             [=](qz::Configuration& c) { c.SetServerCertificatePin(pins); });
}
void SetUseSystemProxy(QZConfiguration* config, int use) {
  WithHandle(QZ_TEXT("SetUseSystemProxy"), config,
             [=](qz::Configuration& c) { c.SetUseSystemProxy(Flag(use)); });
}
void SetOfflineStorageLimit(QZConfiguration* config, uint64_t bytes) {
  WithHandle(QZ_TEXT("SetOfflineStorageLimit"), config,
             [=](qz::Configuration& c) { c.SetOfflineStorageLimit(bytes); });
}

void AssignConfiguration(QZConfiguration* config, const QZConfiguration* from) {
  WithHandle(QZ_TEXT("AssignConfiguration"), config, [=](qz::Configuration& c) { c = from; });
}
void AssignBinaryInfo(QZBinaryInfo* binaryInfo, const QZBinaryInfo* from) {
  WithHandle(QZ_TEXT("AssignBinaryInfo"), binaryInfo, [=](qz::BinaryInfo& b) { b = from; });
}
void AssignFlowController(QZFlowController* flow, const QZFlowController* from) {
  WithHandle(QZ_TEXT("AssignFlowController"), flow, [=](qz::FlowController& f) { f = from; });
}
void AssignExceptionInfo(QZExceptionInfo* info, const QZExceptionInfo* from) {
  WithHandle(QZ_TEXT("AssignExceptionInfo"), info, [=](qz::ExceptionInfo& e) { e = from; });
}

using qz::Configuration;
const QZChar* GetConfigurationCompanyID(const QZConfiguration* config) {
  return Text(config, &Configuration::GetCompanyID);
}
const QZChar* GetConfigurationCompanyName(const QZConfiguration* config) {
  return Text(config, &Configuration::GetCompanyName);
}
const QZChar* GetConfigurationApplicationID(const QZConfiguration* config) {
  return Text(config, &Configuration::GetApplicationID);
}
const QZChar* GetConfigurationApplicationType(const QZConfiguration* config) {
  return Text(config, &Configuration::GetApplicationType);
}
const QZChar* GetConfigurationApplicationName(const QZConfiguration* config) {
  return Text(config, &Configuration::GetApplicationName);
}
const QZChar* GetConfigurationApplicationVersion(const QZConfiguration* config) {
  return Text(config, &Configuration::GetApplicationVersion);
}
const QZChar* GetConfigurationApplicationInstanceID(const QZConfiguration* config) {
  return Text(config, &Configuration::GetApplicationInstanceID);
}
const QZChar* GetConfigurationEndpointLocation(const QZConfiguration* config) {
  return Text(config, &Configuration::GetEndpointLocation);
}
const QZChar* GetConfigurationMessageGroup(const QZConfiguration* config) {
  return Text(config, &Configuration::GetMessageGroup);
}
const QZChar* GetConfigurationDefaultSession(const QZConfiguration* config) {
  return Text(config, &Configuration::GetDefaultSession);
}
int IsConfigurationUseSSL(const QZConfiguration* config) {
  return IsSet(config, &Configuration::IsUseSSL);
}
int IsConfigurationOptIn(const QZConfiguration* config) {
  return IsSet(config, &Configuration::IsOptIn);
}
int IsConfigurationOffline(const QZConfiguration* config) {
  return IsSet(config, &Configuration::IsOffline);
}
int IsConfigurationSendDisabled(const QZConfiguration* config) {
  return IsSet(config, &Configuration::IsSendDisabled);
}
int IsConfigurationSupportOfflineStorage(const QZConfiguration* config) {
  return IsSet(config, &Configuration::IsSupportOfflineStorage);
}
int IsConfigurationOmitPersonalInfo(const QZConfiguration* config) {
  return IsSet(config, &Configuration::IsOmitPersonalInfo);
}
int IsConfigurationFullData(const QZConfiguration* config) {
  return IsSet(config, &Configuration::IsFullData);
}
long GetConfigurationEndpointTimeout(const QZConfiguration* config) {  // NOLINT(runtime/int)
  return Read(config, &Configuration::GetEndpointTimeout, 0L);
}
int IsConfigurationVerifyServerCertificate(const QZConfiguration* config) {
  return IsSet(config, &Configuration::IsVerifyServerCertificate);
}
const QZChar* GetConfigurationServerCertificatePin(const QZConfiguration* config) {
  return Text(config, &Configuration::GetServerCertificatePin);
}
int IsConfigurationUseSystemProxy(const QZConfiguration* config) {
  return IsSet(config, &Configuration::IsUseSystemProxy);
}
uint64_t GetConfigurationOfflineStorageLimit(const QZConfiguration* config) {
  return Read(config, &Configuration::GetOfflineStorageLimit, uint64_t{0});
}

using qz::BinaryInfo;
const QZChar* GetBinaryInfoID(const QZBinaryInfo* binaryInfo) {
  return Text(binaryInfo, &BinaryInfo::GetID);
}
const QZChar* GetBinaryInfoName(const QZBinaryInfo* binaryInfo) {
  return Text(binaryInfo, &BinaryInfo::GetName);
}
const QZChar* GetBinaryInfoVersion(const QZBinaryInfo* binaryInfo) {
  return Text(binaryInfo, &BinaryInfo::GetVersion);
}
const QZChar* GetBinaryInfoClassName(const QZBinaryInfo* binaryInfo) {
  return Text(binaryInfo, &BinaryInfo::GetClassNameW);
}
const QZChar* GetBinaryInfoMethodName(const QZBinaryInfo* binaryInfo) {
  return Text(binaryInfo, &BinaryInfo::GetMethodName);
}
const QZChar* GetBinaryInfoModifiedDateString(const QZBinaryInfo* binaryInfo) {
  return Text(binaryInfo, &BinaryInfo::GetModifiedDateString);
}
uint64_t GetBinaryInfoModifiedDate(const QZBinaryInfo* binaryInfo) {
  return Read(binaryInfo, &BinaryInfo::GetModifiedDate, uint64_t{0});
}

uint64_t GetExtendedKeysSize(const QZExtendedKeys* keys) {
  return Read(keys, &qz::ExtendedKeys::Size, uint64_t{0});
}
const QZExtendedKey* GetExtendedKey(const QZExtendedKeys* keys, uint64_t index) {
  return keys != nullptr ? keys->Get(index) : nullptr;
}
const QZChar* GetExtendedKeyKey(const QZExtendedKey* property) {
  return Text(property, &qz::ExtendedKey::Key);
}
const QZChar* GetExtendedKeyValue(const QZExtendedKey* property) {
  return Text(property, &qz::ExtendedKey::Value);
}
int GetExtendedKeyKind(const QZExtendedKey* property) {
  return Read(property, &qz::ExtendedKey::GetKind, 0);
}

using qz::FlowController;
void SetFlowControllerOffline(QZFlowController* flow, int offline) {
  WithHandle(QZ_TEXT("SetFlowControllerOffline"), flow,
             [=](FlowController& f) { f.SetOffline(Flag(offline)); });
}
void SetFlowControllerSupportOfflineStorage(QZFlowController* flow, int supported) {
  WithHandle(QZ_TEXT("SetFlowControllerSupportOfflineStorage"), flow,
             [=](FlowController& f) { f.SetSupportOfflineStorage(Flag(supported)); });
}
void SetFlowControllerSendDisabled(QZFlowController* flow, int sendDisabled) {
  WithHandle(QZ_TEXT("SetFlowControllerSendDisabled"), flow,
             [=](FlowController& f) { f.SetSendDisabled(Flag(sendDisabled)); });
}
uint64_t GetFlowControllerQueueSize(const QZFlowController* flow) {
  return Read(flow, &FlowController::GetQueueSize, uint64_t{0});
}
uint64_t GetFlowControllerHighWater(const QZFlowController* flow) {
  return Read(flow, &FlowController::GetHighWater, uint64_t{0});
}
unsigned int GetFlowControllerMaximumInterval(const QZFlowController* flow) {
  return Read(flow, &FlowController::GetMaximumInterval, 0u);
}
unsigned int GetFlowControllerMinimumInterval(const QZFlowController* flow) {
  return Read(flow, &FlowController::GetMinimumInterval, 0u);
}
unsigned int GetFlowControllerGain(const QZFlowController* flow) {
  return Read(flow, &FlowController::GetGain, 0u);
}
unsigned int GetFlowControllerQuietGain(const QZFlowController* flow) {
  return Read(flow, &FlowController::GetQuietGain, 0u);
}
unsigned int GetFlowControllerMaximumSequentialFailureCount(const QZFlowController* flow) {
  return Read(flow, &FlowController::GetMaximumSequentialFailureCount, 0u);
}
long GetFlowControllerRetryTimeout(const QZFlowController* flow) {  // NOLINT(runtime/int)
  return Read(flow, &FlowController::GetRetryTimeout, 0L);
}
int IsFlowControllerOffline(const QZFlowController* flow) {
  return IsSet(flow, &FlowController::IsOffline);
}
int IsFlowControllerSupportOfflineStorage(const QZFlowController* flow) {
  return IsSet(flow, &FlowController::IsSupportOfflineStorage);
}
int IsFlowControllerSendDisabled(const QZFlowController* flow) {
  return IsSet(flow, &FlowController::IsSendDisabled);
}
unsigned int FlowControllerGetInterval(QZFlowController* flow, uint64_t count) {
  return flow != nullptr ? flow->GetInterval(static_cast<size_t>(count)) : 0u;
}
uint64_t FlowControllerMessagesToDrop(const QZFlowController* flow, uint64_t count) {
  return flow != nullptr ? flow->MessagesToDrop(static_cast<size_t>(count)) : 0u;
}
int FlowControllerOKToTransmit(const QZFlowController* flow) {
  return IsSet(flow, &FlowController::OKToTransmit);
}
void FlowControllerOnSend(QZFlowController* flow, int success) {
  if (flow != nullptr) flow->OnSend(Flag(success));
}

using qz::ExceptionInfo;
int GetExceptionInfoEventType(const QZExceptionInfo* info) {
  return Read(info, &ExceptionInfo::GetEventType, 0);
}
const QZChar* GetExceptionInfoEventTypeString(const QZExceptionInfo* info) {
  return Text(info, &ExceptionInfo::GetEventTypeString);
}
const QZChar* GetExceptionInfoType(const QZExceptionInfo* info) {
  return Text(info, &ExceptionInfo::GetType);
}
const QZChar* GetExceptionInfoMessage(const QZExceptionInfo* info) {
  return Text(info, &ExceptionInfo::GetMessageW);
}
const QZChar* GetExceptionInfoUserContact(const QZExceptionInfo* info) {
  return Text(info, &ExceptionInfo::GetUserContact);
}
const QZChar* GetExceptionInfoUserComment(const QZExceptionInfo* info) {
  return Text(info, &ExceptionInfo::GetUserComment);
}
void ExceptionInfoFromException(QZExceptionInfo* info, int eventType, const char* what) {
  WithHandle(QZ_TEXT("ExceptionInfoFromException"), info, [=](ExceptionInfo& e) {
    const TextException exception(what);
    switch (eventType) {
      case ExceptionInfo::EVENT_CAUGHT:
        e.Caught(exception);
        break;
      case ExceptionInfo::EVENT_UNCAUGHT:
        e.Uncaught(exception);
        break;
      case ExceptionInfo::EVENT_THROWN:
        e.Thrown(exception);
        break;
      default:
        break;
    }
  });
}

using qz::StringBuf;
QZStringBuf* CreateStringBuf(uint64_t capacity) {
  return qz::NewOrNull<StringBuf>(QZ_TEXT("CreateStringBuf"), capacity);
}
QZStringBuf* CreateStringBufFromText(const QZChar* text) {
  return qz::NewOrNull<StringBuf>(QZ_TEXT("CreateStringBufFromText"), text);
}
void DeleteStringBuf(QZStringBuf* text) { delete text; }
int AssignStringBuf(QZStringBuf* text, const QZChar* from) {
  return Grown(QZ_TEXT("AssignStringBuf"), text, [=](StringBuf& t) { t = from; });
}
const QZChar* GetStringBufText(const QZStringBuf* text) {
  return Text(text, &StringBuf::ToString);
}
uint64_t GetStringBufLength(const QZStringBuf* text) {
  return Read(text, &StringBuf::StrLen, uint64_t{0});
}
uint64_t GetStringBufCapacity(const QZStringBuf* text) {
  return Read(text, &StringBuf::Capacity, uint64_t{0});
}
uint64_t GetStringBufGrowth(const QZStringBuf* text) {
  return Read(text, &StringBuf::Growth, uint64_t{0});
}
int StringBufAppend(QZStringBuf* text, const QZChar* chars, uint64_t count) {
  if (chars == nullptr || count == 0) return 1;
  return Grown(QZ_TEXT("StringBufAppend"), text, [=](StringBuf& t) { t.Append(chars, count); });
}
int StringBufAppendNarrow(QZStringBuf* text, const char* narrow) {
  return Grown(QZ_TEXT("StringBufAppendNarrow"), text, [=](StringBuf& t) { t.Append(narrow); });
}
int StringBufAppendInt32(QZStringBuf* text, int32_t value, int32_t radix) {
  return Grown(QZ_TEXT("StringBufAppendInt32"), text,
               [=](StringBuf& t) { t.Append(value, radix); });
}
int StringBufAppendUInt32(QZStringBuf* text, uint32_t value, int32_t radix) {
  return Grown(QZ_TEXT("StringBufAppendUInt32"), text,
               [=](StringBuf& t) { t.Append(value, radix); });
}
int StringBufAppendUInt64(QZStringBuf* text, uint64_t value, int32_t radix) {
  return Grown(QZ_TEXT("StringBufAppendUInt64"), text,
               [=](StringBuf& t) { t.Append(value, radix); });
}
int StringBufAppendDouble(QZStringBuf* text, double value) {
  return Grown(QZ_TEXT("StringBufAppendDouble"), text, [=](StringBuf& t) { t.Append(value); });
}
void StringBufClear(QZStringBuf* text) {
  if (text != nullptr) text->Clear();
}
void StringBufTrim(QZStringBuf* text) {
  if (text != nullptr) text->Trim();
}
void StringBufToUpperCase(QZStringBuf* text) {
  if (text != nullptr) text->ToUpperCase();
}
void StringBufToLowercase(QZStringBuf* text) {
  if (text != nullptr) text->ToLowercase();
}
int StringBufStartsWith(const QZStringBuf* text, const QZChar* prefix, uint64_t offset) {
  return text != nullptr && text->StartsWith(prefix, offset) ? 1 : 0;
}
int64_t StringBufLastIndexOf(QZStringBuf* text, QZChar c) {
  return text != nullptr ? text->LastIndexOf(c) : -1;
}
void StringBufSubString(QZStringBuf* text, int64_t start, uint64_t count) {
  if (text != nullptr) text->SubString(start, count);
}
void StringBufSubStringFrom(QZStringBuf* text, int64_t start) {
  if (text != nullptr) text->SubString(start);
}

}  // extern "C"
