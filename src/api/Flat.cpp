// The flat interface: each function forwards to one operation of the classes,
// adding only the null-handle check, the int-to-bool conversions and a guard
// that keeps exceptions out of hosts written in other languages.
#include "qz/qz_flat.h"

#include <new>

#include "qz/API.h"
#include "qz/BinaryInfo.h"
#include "qz/Configuration.h"
#include "qz/ExceptionInfo.h"
#include "qz/ExtendedKeys.h"
#include "qz/FlowController.h"

namespace {

using qz::API;

// No exception may unwind into a host that cannot catch it: when memory runs
// out the call is dropped, as a Create function returns null.
template <typename Call>
void Guarded(Call call) noexcept {
  try {
    call();
  } catch (const std::bad_alloc&) {
  }
}

template <typename T, typename Call>
void WithHandle(T* handle, Call call) noexcept {
  if (handle != nullptr) Guarded([&] { call(*handle); });
}

template <typename T>
T* Create() noexcept {
  try {
    return new T();
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

bool Flag(int value) { return value != 0; }

}  // namespace

extern "C" {

QZConfiguration* CreateConfiguration(void) { return Create<qz::Configuration>(); }
void DeleteConfiguration(QZConfiguration* config) { delete config; }
QZBinaryInfo* CreateBinaryInfo(void) { return Create<qz::BinaryInfo>(); }
void DeleteBinaryInfo(QZBinaryInfo* binaryInfo) { delete binaryInfo; }
QZExtendedKeys* CreateExtendedKeys(void) { return Create<qz::ExtendedKeys>(); }
void DeleteExtendedKeys(QZExtendedKeys* keys) { delete keys; }
QZFlowController* CreateFlowController(void) { return Create<qz::FlowController>(); }
void DeleteFlowController(QZFlowController* flow) { delete flow; }
QZExceptionInfo* CreateExceptionInfo(void) { return Create<qz::ExceptionInfo>(); }
void DeleteExceptionInfo(QZExceptionInfo* info) { delete info; }

void SetCompanyID(QZConfiguration* config, const QZChar* id) {
  WithHandle(config, [=](qz::Configuration& c) { c.SetCompanyID(id); });
}
void SetCompanyName(QZConfiguration* config, const QZChar* name) {
  WithHandle(config, [=](qz::Configuration& c) { c.SetCompanyName(name); });
}
void SetApplicationID(QZConfiguration* config, const QZChar* id) {
  WithHandle(config, [=](qz::Configuration& c) { c.SetApplicationID(id); });
}
void SetApplicationName(QZConfiguration* config, const QZChar* name) {
  WithHandle(config, [=](qz::Configuration& c) { c.SetApplicationName(name); });
}
void SetApplicationType(QZConfiguration* config, const QZChar* type) {
  WithHandle(config, [=](qz::Configuration& c) { c.SetApplicationType(type); });
}
void SetApplicationVersion(QZConfiguration* config, const QZChar* version) {
  WithHandle(config, [=](qz::Configuration& c) { c.SetApplicationVersion(version); });
}
void SetApplicationInstanceID(QZConfiguration* config, const QZChar* id) {
  WithHandle(config, [=](qz::Configuration& c) { c.SetApplicationInstanceID(id); });
}
void SetEndpointLocation(QZConfiguration* config, const QZChar* location) {
  WithHandle(config, [=](qz::Configuration& c) { c.SetEndpointLocation(location); });
}
void SetEndpointUseSSL(QZConfiguration* config, int useSSL) {
  WithHandle(config, [=](qz::Configuration& c) { c.SetUseSSL(Flag(useSSL)); });
}
void SetEndpointTimeout(QZConfiguration* config, long milliseconds) {  // NOLINT(runtime/int)
  WithHandle(config, [=](qz::Configuration& c) { c.SetEndpointTimeout(milliseconds); });
}
void SetInitialOptIn(QZConfiguration* config, int optIn) {
  WithHandle(config, [=](qz::Configuration& c) { c.SetOptIn(Flag(optIn)); });
}
void SetOffline(QZConfiguration* config, int offline) {
  WithHandle(config, [=](qz::Configuration& c) { c.SetOffline(Flag(offline)); });
}
void SetInitialSendDisabled(QZConfiguration* config, int sendDisabled) {
  WithHandle(config, [=](qz::Configuration& c) { c.SetSendDisabled(Flag(sendDisabled)); });
}
void SetSupportOfflineStorage(QZConfiguration* config, int supported) {
  WithHandle(config, [=](qz::Configuration& c) { c.SetSupportOfflineStorage(Flag(supported)); });
}
void SetOmitPersonalInfo(QZConfiguration* config, int omit) {
  WithHandle(config, [=](qz::Configuration& c) { c.SetOmitPersonalInfo(Flag(omit)); });
}
void SetFullData(QZConfiguration* config, int fullData) {
  WithHandle(config, [=](qz::Configuration& c) { c.SetFullData(Flag(fullData)); });
}
int SetDefaultIDs(QZConfiguration* config, const QZChar* messageGroup,
                  const QZChar* defaultSession) {
  bool stored = false;
  WithHandle(config, [&](qz::Configuration& c) {
    stored = c.SetDefaultIDs(messageGroup, defaultSession);
  });
  return stored ? 1 : 0;
}

void SetBinaryInfoID(QZBinaryInfo* binaryInfo, const QZChar* id) {
  WithHandle(binaryInfo, [=](qz::BinaryInfo& b) { b.SetID(id); });
}
void SetBinaryInfoName(QZBinaryInfo* binaryInfo, const QZChar* name) {
  WithHandle(binaryInfo, [=](qz::BinaryInfo& b) { b.SetName(name); });
}
void SetBinaryInfoVersion(QZBinaryInfo* binaryInfo, const QZChar* version) {
  WithHandle(binaryInfo, [=](qz::BinaryInfo& b) { b.SetVersion(version); });
}
void SetBinaryInfoClassName(QZBinaryInfo* binaryInfo, const QZChar* className) {
  WithHandle(binaryInfo, [=](qz::BinaryInfo& b) { b.SetClassName(className); });
}
void SetBinaryInfoMethodName(QZBinaryInfo* binaryInfo, const QZChar* methodName) {
  WithHandle(binaryInfo, [=](qz::BinaryInfo& b) { b.SetMethodName(methodName); });
}
void SetBinaryInfoModifiedDate(QZBinaryInfo* binaryInfo, uint64_t milliseconds) {
  WithHandle(binaryInfo, [=](qz::BinaryInfo& b) { b.SetModifiedDate(milliseconds); });
}

void AddExtendedKeysString(QZExtendedKeys* keys, const QZChar* key, const QZChar* value) {
  WithHandle(keys, [=](qz::ExtendedKeys& k) { k.Add(key, value); });
}
void AddExtendedKeysInt(QZExtendedKeys* keys, const QZChar* key, int value) {
  WithHandle(keys, [=](qz::ExtendedKeys& k) { k.Add(key, static_cast<int32_t>(value)); });
}
void AddExtendedKeysLong(QZExtendedKeys* keys, const QZChar* key, long value) {  // NOLINT
  WithHandle(keys, [=](qz::ExtendedKeys& k) { k.Add(key, value); });
}
void AddExtendedKeysFloat(QZExtendedKeys* keys, const QZChar* key, float value) {
  WithHandle(keys, [=](qz::ExtendedKeys& k) { k.Add(key, value); });
}
void AddExtendedKeysDouble(QZExtendedKeys* keys, const QZChar* key, double value) {
  WithHandle(keys, [=](qz::ExtendedKeys& k) { k.Add(key, value); });
}

// The int is widened with its sign, so -1 asks for the largest size and the
// controller's own limits apply.
void SetFlowControllerQueueSize(QZFlowController* flow, int size) {
  WithHandle(flow, [=](qz::FlowController& f) {
    f.SetQueueSize(static_cast<size_t>(static_cast<int64_t>(size)));
  });
}
void SetFlowControllerHighWater(QZFlowController* flow, int highWater) {
  WithHandle(flow, [=](qz::FlowController& f) {
    f.SetHighWater(static_cast<size_t>(static_cast<int64_t>(highWater)));
  });
}
void SetFlowControllerMaximumInterval(QZFlowController* flow, unsigned int milliseconds) {
  WithHandle(flow, [=](qz::FlowController& f) { f.SetMaximumInterval(milliseconds); });
}
void SetFlowControllerMinimumInterval(QZFlowController* flow, unsigned int milliseconds) {
  WithHandle(flow, [=](qz::FlowController& f) { f.SetMinimumInterval(milliseconds); });
}
void SetFlowControllerGain(QZFlowController* flow, unsigned int percent) {
  WithHandle(flow, [=](qz::FlowController& f) { f.SetGain(percent); });
}
void SetFlowControllerQuietGain(QZFlowController* flow, unsigned int percent) {
  WithHandle(flow, [=](qz::FlowController& f) { f.SetQuietGain(percent); });
}
void SetFlowControllerMaximumSequentialFailureCount(QZFlowController* flow, unsigned int count) {
  WithHandle(flow, [=](qz::FlowController& f) { f.SetMaximumSequentialFailureCount(count); });
}
void SetFlowControllerRetryTimeout(QZFlowController* flow, long milliseconds) {  // NOLINT
  WithHandle(flow, [=](qz::FlowController& f) { f.SetRetryTimeout(milliseconds); });
}

void SetExceptionInfoEventType(QZExceptionInfo* info, int eventType) {
  WithHandle(info, [=](qz::ExceptionInfo& e) { e.SetEventType(static_cast<int32_t>(eventType)); });
}
void SetExceptionInfoType(QZExceptionInfo* info, const QZChar* type) {
  WithHandle(info, [=](qz::ExceptionInfo& e) { e.SetType(type); });
}
void SetExceptionInfoMessage(QZExceptionInfo* info, const QZChar* message) {
  WithHandle(info, [=](qz::ExceptionInfo& e) { e.SetMessage(message); });
}
void SetExceptionInfoUserContact(QZExceptionInfo* info, const QZChar* contact) {
  WithHandle(info, [=](qz::ExceptionInfo& e) { e.SetUserContact(contact); });
}
void SetExceptionInfoUserComment(QZExceptionInfo* info, const QZChar* comment) {
  WithHandle(info, [=](qz::ExceptionInfo& e) { e.SetUserComment(comment); });
}

int ApplicationStart(const QZConfiguration* config, const QZFlowController* flow,
                     const QZBinaryInfo* binaryInfo, const QZExtendedKeys* keys) {
  bool started = false;
  Guarded([&] { started = API::ApplicationStart(config, flow, binaryInfo, keys); });
  return started ? 1 : 0;
}
void ApplicationStop(const QZBinaryInfo* binaryInfo, const QZExtendedKeys* keys) {
  Guarded([=] { API::ApplicationStop(binaryInfo, keys); });
}
void SessionStart(const QZChar* session, const QZBinaryInfo* binaryInfo,
                  const QZExtendedKeys* keys) {
  Guarded([=] { API::SessionStart(session, binaryInfo, keys); });
}
void SessionStop(const QZChar* session, const QZBinaryInfo* binaryInfo,
                 const QZExtendedKeys* keys) {
  Guarded([=] { API::SessionStop(session, binaryInfo, keys); });
}
void FeatureStart(const QZChar* name, const QZChar* session, const QZBinaryInfo* binaryInfo,
                  const QZExtendedKeys* keys) {
  Guarded([=] { API::FeatureStart(name, session, binaryInfo, keys); });
}
void FeatureStop(const QZChar* name, const QZChar* session, const QZBinaryInfo* binaryInfo,
                 const QZExtendedKeys* keys) {
  Guarded([=] { API::FeatureStop(name, session, binaryInfo, keys); });
}
void FeatureTick(const QZChar* name, const QZChar* session, const QZBinaryInfo* binaryInfo,
                 const QZExtendedKeys* keys) {
  Guarded([=] { API::FeatureTick(name, session, binaryInfo, keys); });
}
void PerformanceProbe(const QZChar* name, const QZChar* session, const QZBinaryInfo* binaryInfo,
                      const QZExtendedKeys* keys) {
  Guarded([=] { API::PerformanceProbe(name, session, binaryInfo, keys); });
}
void SystemProfile(const QZChar* session, const QZBinaryInfo* binaryInfo,
                   const QZExtendedKeys* keys) {
  Guarded([=] { API::SystemProfile(session, binaryInfo, keys); });
}
void ReportException(const QZExceptionInfo* info, const QZChar* session,
                     const QZBinaryInfo* binaryInfo, const QZExtendedKeys* keys) {
  Guarded([=] { API::ReportException(info, session, binaryInfo, keys); });
}
void SetOptIn(int optIn) {
  Guarded([=] { API::SetOptIn(Flag(optIn)); });
}
void SetSendDisabled(int disabled) {
  Guarded([=] { API::SetSendDisabled(Flag(disabled)); });
}
void SendMessages(void) {
  Guarded([] { API::SendMessages(); });
}
int IsApplicationStarted(void) { return API::IsApplicationStarted() ? 1 : 0; }
const QZChar* GetDefaultSession(void) { return API::GetDefaultSession(); }
const QZChar* GetMessageGroup(void) { return API::GetMessageGroup(); }
void SetLogLevel(int level) { API::SetLogLevel(level); }

}  // extern "C"
