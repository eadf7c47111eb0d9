// The flat interface: each function forwards to one operation of the classes,
// adding only the null-handle check, the int-to-bool conversions and a guard
// that keeps exceptions out of hosts written in other languages.
#include "qz/qz_flat.h"

#include "platform/CaughtException.h"
#include "qz/API.h"
#include "qz/BinaryInfo.h"
#include "qz/Configuration.h"
#include "qz/ExceptionInfo.h"
#include "qz/ExtendedKeys.h"
#include "qz/FlowController.h"

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

}  // extern "C"
