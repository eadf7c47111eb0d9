// The library's C++ classes as inline code over the flat functions of
// qz/qz_flat.h, for compilers that cannot call the classes qzwin32.dll exports
// (Visual C++ and clang-cl: the DLL's classes follow the GCC ABI) and for any
// compiler where QZ_USE_FLAT_ABI is defined. qz/qz.h and the class headers
// include this file then; a host includes those, never this one.
//
// The names, members and behaviour are the exported classes': each object holds
// a handle to the library's own object and every member calls the flat function
// that wraps that member, so every rule, limit and log line is the library's.
// What differs:
// - Except under Visual C++ (where the exported classes cannot be used at all,
//   so nothing can be mixed up), the classes live in the inline namespace
//   qz::flat_abi: a program whose translation units disagree about
//   QZ_USE_FLAT_ABI fails to link instead of running two layouts of one class.
//   There a forward declaration of a class (namespace qz { class
//   Configuration; }) makes its name ambiguous: include qz/qz.h instead.
// - When the library runs out of memory, a constructor and a StringBuf
//   operation throw std::bad_alloc as the exported classes do, if exceptions
//   are enabled. Without exceptions (-fno-exceptions, /EHs-c-) such an object
//   has no library object behind it (its setters do nothing, its getters give
//   empty texts, 0 and false) and a StringBuf operation leaves the string as it
//   was. ExtendedKeys::Add never throws: the library logs the failure and drops
//   the property, as the flat function does. ExtendedKeys::Get also returns
//   null when it cannot allocate the small object it hands out.
// - FlowController::SetQueueSize and SetHighWater take a size above INT_MAX as
//   the largest size (the flat functions take an int).
// Of the standard library it needs only <new> and <exception>.
#ifndef QZ_INLINE_H
#define QZ_INLINE_H

#include <stddef.h>
#include <stdint.h>

#include <exception>
#include <new>

#include "qz/export.h"
#include "qz/qz_flat.h"

#if !defined(QZ_USE_FLAT_ABI)
#  error "include qz/qz.h: it includes qz/qz_inline.h when QZ_USE_FLAT_ABI is defined"
#endif

// <windows.h> turns GetClassName and GetMessage into ...A/...W; keep the real
// names here and give the renamed calls forwarders, as the exported classes do.
#pragma push_macro("GetClassName")
#pragma push_macro("GetMessage")
#undef GetClassName
#undef GetMessage

#if defined(_MSC_VER)
#  define QZ_INLINE_NAMESPACE_BEGIN
#  define QZ_INLINE_NAMESPACE_END
#else
#  define QZ_INLINE_NAMESPACE_BEGIN inline namespace flat_abi {
#  define QZ_INLINE_NAMESPACE_END }
#endif

namespace qz {
QZ_INLINE_NAMESPACE_BEGIN

class API;

namespace detail {

// Where the exported class raises std::bad_alloc.
inline void OutOfMemory() {
#if defined(__cpp_exceptions) || defined(__EXCEPTIONS) || defined(_CPPUNWIND)
  throw std::bad_alloc();
#endif
}

inline uint64_t Length(const QZChar* text) {
  uint64_t n = 0;
  if (text != nullptr) {
    while (text[n] != 0) ++n;
  }
  return n;
}

// The flat functions take sizes as int; -1 stands for the largest.
inline int SizeArgument(size_t size) {
  return size > 0x7fffffffu ? -1 : static_cast<int>(size);
}

inline int Flag(bool value) { return value ? 1 : 0; }

}  // namespace detail

class StringBuf {
 public:
  explicit StringBuf(uint64_t requestedCapacity = 32)
      : handle(::CreateStringBuf(requestedCapacity)) {
    if (handle == nullptr) detail::OutOfMemory();
  }
  StringBuf(const QZChar* text)  // NOLINT: implicit on purpose, as the exported class's
      : handle(::CreateStringBufFromText(text)) {
    if (handle == nullptr) detail::OutOfMemory();
  }
  ~StringBuf() { ::DeleteStringBuf(handle); }

  // Up to the other's first NUL; an object given its own text keeps it.
  StringBuf& operator=(const StringBuf& other) { return *this = other.ToString(); }
  StringBuf& operator=(const QZChar* text) { return Grown(::AssignStringBuf(handle, text)); }

  StringBuf& Append(const StringBuf& other) { return Put(other.ToString(), other.StrLen()); }
  StringBuf& Append(const StringBuf& other, uint64_t start, uint64_t count) {
    const uint64_t length = other.StrLen();
    if (count == 0 || start > length || count > length - start) return *this;
    return Put(other.ToString() + start, count);
  }
  StringBuf& Append(const QZChar* text) { return Put(text, detail::Length(text)); }
  // Appends exactly count characters of text, NULs included.
  StringBuf& Append(const QZChar* text, uint64_t count) { return Put(text, count); }
  StringBuf& Append(QZChar c) { return Put(&c, 1); }
  StringBuf& Append(const char* narrow) { return Grown(::StringBufAppendNarrow(handle, narrow)); }
  StringBuf& Append(int32_t value, int32_t radix) {
    return Grown(::StringBufAppendInt32(handle, value, radix));
  }
  StringBuf& Append(uint32_t value, int32_t radix) {
    return Grown(::StringBufAppendUInt32(handle, value, radix));
  }
  StringBuf& Append(uint64_t value, int32_t radix) {
    return Grown(::StringBufAppendUInt64(handle, value, radix));
  }
  StringBuf& Append(double value) { return Grown(::StringBufAppendDouble(handle, value)); }

  uint64_t StrLen() const { return ::GetStringBufLength(handle); }
  const QZChar* ToString() const { return ::GetStringBufText(handle); }
  operator const QZChar*() const { return ToString(); }
  QZChar CharAt(uint64_t index) const {
    return index < StrLen() ? ToString()[index] : static_cast<QZChar>(0);
  }

  StringBuf& Clear() {
    ::StringBufClear(handle);
    return *this;
  }
  StringBuf& Trim() {
    ::StringBufTrim(handle);
    return *this;
  }
  StringBuf& ToUpperCase() {
    ::StringBufToUpperCase(handle);
    return *this;
  }
  StringBuf& ToLowercase() {
    ::StringBufToLowercase(handle);
    return *this;
  }
  bool StartsWith(const QZChar* prefix, uint64_t offset = 0) const {
    return ::StringBufStartsWith(handle, prefix, offset) != 0;
  }
  bool EndsWith(const QZChar* suffix) const {
    const uint64_t n = detail::Length(suffix);
    const uint64_t length = StrLen();
    return n != 0 && n <= length && StartsWith(suffix, length - n);
  }
  int64_t LastIndexOf(QZChar c) { return ::StringBufLastIndexOf(handle, c); }
  StringBuf& SubString(int64_t start, uint64_t count) {
    ::StringBufSubString(handle, start, count);
    return *this;
  }
  StringBuf& SubString(int64_t start) {
    ::StringBufSubStringFrom(handle, start);
    return *this;
  }

  uint64_t Capacity() const { return ::GetStringBufCapacity(handle); }
  uint64_t Growth() const { return ::GetStringBufGrowth(handle); }

 private:
  StringBuf(const StringBuf&) = delete;

  StringBuf& Put(const QZChar* text, uint64_t count) {
    return Grown(::StringBufAppend(handle, text, count));
  }
  StringBuf& Grown(int done) {
    if (done == 0) detail::OutOfMemory();
    return *this;
  }

  QZStringBuf* handle;
};

// A member added to the exported class gets its line here too, over its flat
// setter and a flat getter (Get/IsConfiguration<Field>); the inline_members
// test names any member missing here.
class Configuration {
 public:
  Configuration() : handle(::CreateConfiguration()) {
    if (handle == nullptr) detail::OutOfMemory();
  }
  ~Configuration() { ::DeleteConfiguration(handle); }

  // Resets every field, then copies all of them from other unless it is null.
  Configuration& operator=(const Configuration* other) {
    ::AssignConfiguration(handle, other != nullptr ? other->handle : nullptr);
    return *this;
  }

  void SetCompanyID(const QZChar* id) { ::SetCompanyID(handle, id); }
  void SetCompanyName(const QZChar* name) { ::SetCompanyName(handle, name); }
  void SetApplicationID(const QZChar* id) { ::SetApplicationID(handle, id); }
  void SetApplicationType(const QZChar* type) { ::SetApplicationType(handle, type); }
  void SetApplicationName(const QZChar* name) { ::SetApplicationName(handle, name); }
  void SetApplicationVersion(const QZChar* version) { ::SetApplicationVersion(handle, version); }
  void SetApplicationInstanceID(const QZChar* id) { ::SetApplicationInstanceID(handle, id); }
  void SetEndpointLocation(const QZChar* location) { ::SetEndpointLocation(handle, location); }
  bool SetDefaultIDs(const QZChar* messageGroup, const QZChar* defaultSession) {
    return ::SetDefaultIDs(handle, messageGroup, defaultSession) != 0;
  }
  void SetUseSSL(bool useSSL) { ::SetEndpointUseSSL(handle, detail::Flag(useSSL)); }
  // The flat SetOptIn and SetSendDisabled change the run; these the configuration.
  void SetOptIn(bool optIn) { ::SetInitialOptIn(handle, detail::Flag(optIn)); }
  void SetOffline(bool offline) { ::SetOffline(handle, detail::Flag(offline)); }
  void SetSendDisabled(bool sendDisabled) {
    ::SetInitialSendDisabled(handle, detail::Flag(sendDisabled));
  }
  void SetSupportOfflineStorage(bool supported) {
    ::SetSupportOfflineStorage(handle, detail::Flag(supported));
  }
  void SetOmitPersonalInfo(bool omit) { ::SetOmitPersonalInfo(handle, detail::Flag(omit)); }
  void SetFullData(bool fullData) { ::SetFullData(handle, detail::Flag(fullData)); }
  // 0 or less means the default; where long is 64 bits, the 32-bit maximum caps it.
  void SetEndpointTimeout(long milliseconds) {  // NOLINT(runtime/int)
    ::SetEndpointTimeout(handle, milliseconds);
  }

  const QZChar* GetCompanyID() const { return ::GetConfigurationCompanyID(handle); }
  const QZChar* GetCompanyName() const { return ::GetConfigurationCompanyName(handle); }
  const QZChar* GetApplicationID() const { return ::GetConfigurationApplicationID(handle); }
  const QZChar* GetApplicationType() const { return ::GetConfigurationApplicationType(handle); }
  const QZChar* GetApplicationName() const { return ::GetConfigurationApplicationName(handle); }
  const QZChar* GetApplicationVersion() const {
    return ::GetConfigurationApplicationVersion(handle);
  }
  const QZChar* GetApplicationInstanceID() const {
    return ::GetConfigurationApplicationInstanceID(handle);
  }
  const QZChar* GetEndpointLocation() const { return ::GetConfigurationEndpointLocation(handle); }
  const QZChar* GetMessageGroup() const { return ::GetConfigurationMessageGroup(handle); }
  const QZChar* GetDefaultSession() const { return ::GetConfigurationDefaultSession(handle); }
  bool IsUseSSL() const { return ::IsConfigurationUseSSL(handle) != 0; }
  bool IsOptIn() const { return ::IsConfigurationOptIn(handle) != 0; }
  bool IsOffline() const { return ::IsConfigurationOffline(handle) != 0; }
  bool IsSendDisabled() const { return ::IsConfigurationSendDisabled(handle) != 0; }
  bool IsSupportOfflineStorage() const {
    return ::IsConfigurationSupportOfflineStorage(handle) != 0;
  }
  bool IsOmitPersonalInfo() const { return ::IsConfigurationOmitPersonalInfo(handle) != 0; }
  bool IsFullData() const { return ::IsConfigurationFullData(handle) != 0; }
  long GetEndpointTimeout() const {  // NOLINT(runtime/int)
    return ::GetConfigurationEndpointTimeout(handle);
  }

  // Transport options beyond the defaults, each off unless a host sets it.
  void SetVerifyServerCertificate(bool verify) {
    ::SetVerifyServerCertificate(handle, detail::Flag(verify));
  }
  bool IsVerifyServerCertificate() const {
    return ::IsConfigurationVerifyServerCertificate(handle) != 0;
  }
  void SetServerCertificatePin(const QZChar* pins) { ::SetServerCertificatePin(handle, pins); }
  const QZChar* GetServerCertificatePin() const {
    return ::GetConfigurationServerCertificatePin(handle);
  }
  void SetUseSystemProxy(bool use) { ::SetUseSystemProxy(handle, detail::Flag(use)); }
  bool IsUseSystemProxy() const { return ::IsConfigurationUseSystemProxy(handle) != 0; }

  // Stored batches beyond the defaults: 0 for no limit.
  void SetOfflineStorageLimit(uint64_t bytes) { ::SetOfflineStorageLimit(handle, bytes); }
  uint64_t GetOfflineStorageLimit() const {
    return ::GetConfigurationOfflineStorageLimit(handle);
  }

 private:
  friend class API;
  Configuration(const Configuration&) = delete;
  Configuration& operator=(const Configuration&) = delete;

  QZConfiguration* handle;
};

class FlowController {
 public:
  FlowController() : handle(::CreateFlowController()) {
    if (handle == nullptr) detail::OutOfMemory();
  }
  ~FlowController() { ::DeleteFlowController(handle); }

  // Null resets settings and state to the defaults; otherwise copies both.
  FlowController& operator=(const FlowController* other) {
    ::AssignFlowController(handle, other != nullptr ? other->handle : nullptr);
    return *this;
  }

  // Out-of-range values are clamped, never refused.
  void SetQueueSize(size_t size) {  // also resets the high-water mark
    ::SetFlowControllerQueueSize(handle, detail::SizeArgument(size));
  }
  void SetHighWater(size_t highWater) {
    ::SetFlowControllerHighWater(handle, detail::SizeArgument(highWater));
  }
  void SetMaximumInterval(uint32_t milliseconds) {
    ::SetFlowControllerMaximumInterval(handle, milliseconds);
  }
  void SetMinimumInterval(uint32_t milliseconds) {
    ::SetFlowControllerMinimumInterval(handle, milliseconds);
  }
  void SetGain(uint32_t percent) { ::SetFlowControllerGain(handle, percent); }
  void SetQuietGain(uint32_t percent) { ::SetFlowControllerQuietGain(handle, percent); }
  void SetOffline(bool offline) { ::SetFlowControllerOffline(handle, detail::Flag(offline)); }
  void SetSupportOfflineStorage(bool supported) {
    ::SetFlowControllerSupportOfflineStorage(handle, detail::Flag(supported));
  }
  void SetSendDisabled(bool sendDisabled) {
    ::SetFlowControllerSendDisabled(handle, detail::Flag(sendDisabled));
  }
  void SetMaximumSequentialFailureCount(uint32_t count) {
    ::SetFlowControllerMaximumSequentialFailureCount(handle, count);
  }
  // 0: stay paused until a success. Negative values store 0; the 32-bit maximum caps it.
  void SetRetryTimeout(long milliseconds) {  // NOLINT(runtime/int)
    ::SetFlowControllerRetryTimeout(handle, milliseconds);
  }

  size_t GetQueueSize() const { return static_cast<size_t>(::GetFlowControllerQueueSize(handle)); }
  size_t GetHighWater() const { return static_cast<size_t>(::GetFlowControllerHighWater(handle)); }
  uint32_t GetMaximumInterval() const { return ::GetFlowControllerMaximumInterval(handle); }
  uint32_t GetMinimumInterval() const { return ::GetFlowControllerMinimumInterval(handle); }
  uint32_t GetGain() const { return ::GetFlowControllerGain(handle); }
  uint32_t GetQuietGain() const { return ::GetFlowControllerQuietGain(handle); }
  uint32_t GetMaximumSequentialFailureCount() const {
    return ::GetFlowControllerMaximumSequentialFailureCount(handle);
  }
  long GetRetryTimeout() const {  // NOLINT(runtime/int)
    return ::GetFlowControllerRetryTimeout(handle);
  }
  bool IsOffline() const { return ::IsFlowControllerOffline(handle) != 0; }
  bool IsSupportOfflineStorage() const {
    return ::IsFlowControllerSupportOfflineStorage(handle) != 0;
  }
  bool IsSendDisabled() const { return ::IsFlowControllerSendDisabled(handle) != 0; }

  // Next sleep in milliseconds, given how many messages the pass just ended took.
  uint32_t GetInterval(size_t count) { return ::FlowControllerGetInterval(handle, count); }
  // How many of the oldest messages must go from a queue of this length.
  size_t MessagesToDrop(size_t count) const {
    return static_cast<size_t>(::FlowControllerMessagesToDrop(handle, count));
  }
  // Whether a send may be tried now.
  bool OKToTransmit() const { return ::FlowControllerOKToTransmit(handle) != 0; }
  // Records the outcome of a send.
  void OnSend(bool success) { ::FlowControllerOnSend(handle, detail::Flag(success)); }

 private:
  friend class API;
  FlowController(const FlowController&) = delete;
  FlowController& operator=(const FlowController&) = delete;

  QZFlowController* handle;
};

class ExtendedKeys;

// One property, as ExtendedKeys::Get hands it out; hosts only read it.
class ExtendedKey {
 public:
  static constexpr uint64_t MAX_KEY_LENGTH = 2000;
  static constexpr uint64_t MAX_TEXT_LENGTH = 4000;

  static constexpr int32_t KIND_TEXT = 0;
  static constexpr int32_t KIND_INT = 1;
  static constexpr int32_t KIND_LONG = 2;
  static constexpr int32_t KIND_FLOAT = 3;
  static constexpr int32_t KIND_DOUBLE = 4;

  const QZChar* Key() const { return ::GetExtendedKeyKey(property); }
  const QZChar* Value() const { return ::GetExtendedKeyValue(property); }
  bool IsNumeric() const { return GetKind() != KIND_TEXT; }
  int32_t GetKind() const { return ::GetExtendedKeyKind(property); }

 private:
  friend class ExtendedKeys;

  ExtendedKey(const QZExtendedKey* libraryProperty, ExtendedKey* nextView)
      : property(libraryProperty), next(nextView) {}
  ~ExtendedKey() {}
  ExtendedKey(const ExtendedKey&) = delete;
  ExtendedKey& operator=(const ExtendedKey&) = delete;

  const QZExtendedKey* property;
  ExtendedKey* next;
};

// Properties kept sorted by key (unsigned 16-bit code units, case-sensitive);
// adding an existing key replaces its property.
class ExtendedKeys {
 public:
  ExtendedKeys() : handle(::CreateExtendedKeys()), views(nullptr), viewCount(0) {
    if (handle == nullptr) detail::OutOfMemory();
  }
  ~ExtendedKeys() {
    while (views != nullptr) {
      ExtendedKey* view = views;
      views = view->next;
      delete view;
    }
    ::DeleteExtendedKeys(handle);
  }

  // Ignored unless key and value are both non-empty. The value is cut to 4000 characters.
  void Add(const QZChar* key, const QZChar* value) { ::AddExtendedKeysString(handle, key, value); }
  // Numbers are ignored only when the key is empty.
  void Add(const QZChar* key, int32_t value) { ::AddExtendedKeysInt(handle, key, value); }
  // long stays its own overload: 32 bits on Windows, the platform's long elsewhere.
  void Add(const QZChar* key, long value) {  // NOLINT(runtime/int)
    ::AddExtendedKeysLong(handle, key, value);
  }
  void Add(const QZChar* key, float value) { ::AddExtendedKeysFloat(handle, key, value); }
  void Add(const QZChar* key, double value) { ::AddExtendedKeysDouble(handle, key, value); }

  uint64_t Size() const { return ::GetExtendedKeysSize(handle); }
  // Property at this position in key order, or null when index >= Size().
  const ExtendedKey* Get(uint64_t index) const {
    const QZExtendedKey* property = ::GetExtendedKey(handle, index);
    if (property == nullptr) return nullptr;
    for (ExtendedKey* view = views; view != nullptr; view = view->next) {
      if (view->property == property) return view;
    }
    // Keys added again leave views of properties that are gone: clear them out
    // before they outnumber the properties that can still be asked for.
    if (viewCount >= 2 * Size() + 8) DropStaleViews();
    ExtendedKey* view = new (std::nothrow) ExtendedKey(property, views);
    if (view == nullptr) return nullptr;
    views = view;
    ++viewCount;
    return view;
  }

 private:
  friend class API;
  ExtendedKeys(const ExtendedKeys&) = delete;
  ExtendedKeys& operator=(const ExtendedKeys&) = delete;

  void DropStaleViews() const {
    const uint64_t size = Size();
    ExtendedKey** link = &views;
    while (*link != nullptr) {
      ExtendedKey* view = *link;
      bool live = false;
      for (uint64_t i = 0; i < size && !live; ++i) live = ::GetExtendedKey(handle, i) == view->property;
      if (live) {
        link = &view->next;
      } else {
        *link = view->next;
        delete view;
        --viewCount;
      }
    }
  }

  QZExtendedKeys* handle;
  // One ExtendedKey per library property that Get has handed out; a host may
  // keep such a pointer until that key is added again, as with the library's own.
  mutable ExtendedKey* views;
  mutable uint64_t viewCount;
};

class BinaryInfo {
 public:
  BinaryInfo() : handle(::CreateBinaryInfo()) {
    if (handle == nullptr) detail::OutOfMemory();
  }
  ~BinaryInfo() { ::DeleteBinaryInfo(handle); }

  // Resets every field, then copies all of them from other unless it is null.
  BinaryInfo& operator=(const BinaryInfo* other) {
    ::AssignBinaryInfo(handle, other != nullptr ? other->handle : nullptr);
    return *this;
  }

  // Null or empty clears the ID; GUID text is kept upper case; anything else is
  // logged and leaves the ID as it was.
  void SetID(const QZChar* id) { ::SetBinaryInfoID(handle, id); }
  void SetName(const QZChar* name) { ::SetBinaryInfoName(handle, name); }
  void SetVersion(const QZChar* version) { ::SetBinaryInfoVersion(handle, version); }
  void SetClassName(const QZChar* className) { ::SetBinaryInfoClassName(handle, className); }
  void SetMethodName(const QZChar* methodName) { ::SetBinaryInfoMethodName(handle, methodName); }
  // Milliseconds since 1970 UTC; 0 means not set.
  void SetModifiedDate(uint64_t milliseconds) { ::SetBinaryInfoModifiedDate(handle, milliseconds); }

  const QZChar* GetID() const { return ::GetBinaryInfoID(handle); }
  const QZChar* GetName() const { return ::GetBinaryInfoName(handle); }
  const QZChar* GetVersion() const { return ::GetBinaryInfoVersion(handle); }
  const QZChar* GetClassName() const { return ::GetBinaryInfoClassName(handle); }
  const QZChar* GetMethodName() const { return ::GetBinaryInfoMethodName(handle); }
  // Empty when no date is set.
  const QZChar* GetModifiedDateString() const { return ::GetBinaryInfoModifiedDateString(handle); }
  uint64_t GetModifiedDate() const { return ::GetBinaryInfoModifiedDate(handle); }

  const QZChar* GetClassNameW() const { return GetClassName(); }
  const QZChar* GetClassNameA() const { return GetClassName(); }

 private:
  friend class API;
  BinaryInfo(const BinaryInfo&) = delete;
  BinaryInfo& operator=(const BinaryInfo&) = delete;

  QZBinaryInfo* handle;
};

class ExceptionInfo {
 public:
  static constexpr int32_t EVENT_CAUGHT = 100;
  static constexpr int32_t EVENT_UNCAUGHT = 200;
  static constexpr int32_t EVENT_THROWN = 300;
  // Contact and comment are trimmed and then cut to this many characters.
  static constexpr uint64_t MAX_USER_TEXT_LENGTH = 500;

  ExceptionInfo() : handle(::CreateExceptionInfo()) {
    if (handle == nullptr) detail::OutOfMemory();
  }
  ~ExceptionInfo() { ::DeleteExceptionInfo(handle); }

  // Copies every field from other; null resets to the constructor's state.
  ExceptionInfo& operator=(const ExceptionInfo* other) {
    ::AssignExceptionInfo(handle, other != nullptr ? other->handle : nullptr);
    return *this;
  }

  // Values other than the three EVENT_ constants are ignored.
  void SetEventType(int32_t eventType) { ::SetExceptionInfoEventType(handle, eventType); }
  int32_t GetEventType() const { return ::GetExceptionInfoEventType(handle); }
  // "caught", "uncaught" or "thrown".
  const QZChar* GetEventTypeString() const { return ::GetExceptionInfoEventTypeString(handle); }

  void SetType(const QZChar* typeName) { ::SetExceptionInfoType(handle, typeName); }
  ExceptionInfo& Type(const QZChar* typeName) {
    SetType(typeName);
    return *this;
  }
  const QZChar* GetType() const { return ::GetExceptionInfoType(handle); }

  void SetMessage(const QZChar* messageText) { ::SetExceptionInfoMessage(handle, messageText); }
  ExceptionInfo& Message(const QZChar* messageText) {
    SetMessage(messageText);
    return *this;
  }
  const QZChar* GetMessage() const { return ::GetExceptionInfoMessage(handle); }

  void SetUserContact(const QZChar* contact) { ::SetExceptionInfoUserContact(handle, contact); }
  ExceptionInfo& Contact(const QZChar* contact) {
    SetUserContact(contact);
    return *this;
  }
  const QZChar* GetUserContact() const { return ::GetExceptionInfoUserContact(handle); }

  void SetUserComment(const QZChar* comment) { ::SetExceptionInfoUserComment(handle, comment); }
  ExceptionInfo& Comment(const QZChar* comment) {
    SetUserComment(comment);
    return *this;
  }
  const QZChar* GetUserComment() const { return ::GetExceptionInfoUserComment(handle); }

  ExceptionInfo& Caught() { return Event(EVENT_CAUGHT); }
  ExceptionInfo& Uncaught() { return Event(EVENT_UNCAUGHT); }
  ExceptionInfo& Thrown() { return Event(EVENT_THROWN); }
  // Set the event type and replace the message with e.what(); the type name stays.
  ExceptionInfo& Caught(const std::exception& e) { return FromException(EVENT_CAUGHT, e); }
  ExceptionInfo& Uncaught(const std::exception& e) { return FromException(EVENT_UNCAUGHT, e); }
  ExceptionInfo& Thrown(const std::exception& e) { return FromException(EVENT_THROWN, e); }

  const QZChar* GetMessageW() const { return GetMessage(); }
  const QZChar* GetMessageA() const { return GetMessage(); }

 private:
  friend class API;
  ExceptionInfo(const ExceptionInfo&) = delete;
  ExceptionInfo& operator=(const ExceptionInfo&) = delete;

  ExceptionInfo& Event(int32_t event) {
    SetEventType(event);
    return *this;
  }
  ExceptionInfo& FromException(int32_t event, const std::exception& e) {
    ::ExceptionInfoFromException(handle, event, e.what());
    return *this;
  }

  QZExceptionInfo* handle;
};

class API {
 public:
  // Values for SetLogLevel.
  static constexpr int32_t LOG_INFO = 100;
  static constexpr int32_t LOG_WARN = 200;
  static constexpr int32_t LOG_ERROR = 300;

  // Returns whether a run is in progress when the call returns.
  static bool ApplicationStart(const Configuration* config, const FlowController* flow,
                               const BinaryInfo* binaryInfo, const ExtendedKeys* keys) {
    return ::ApplicationStart(Of(config), Of(flow), Of(binaryInfo), Of(keys)) != 0;
  }
  static bool ApplicationStart(const Configuration* config, const BinaryInfo* binaryInfo,
                               const ExtendedKeys* keys) {
    return ApplicationStart(config, nullptr, binaryInfo, keys);
  }
  static bool ApplicationStart(const Configuration* config, const ExtendedKeys* keys) {
    return ApplicationStart(config, nullptr, nullptr, keys);
  }
  static bool ApplicationStart(const Configuration* config, const FlowController* flow,
                               const ExtendedKeys* keys) {
    return ApplicationStart(config, flow, nullptr, keys);
  }

  static void ApplicationStop(const BinaryInfo* binaryInfo, const ExtendedKeys* keys) {
    ::ApplicationStop(Of(binaryInfo), Of(keys));
  }
  static void ApplicationStop(const ExtendedKeys* keys) { ApplicationStop(nullptr, keys); }

  static bool IsApplicationStarted() { return ::IsApplicationStarted() != 0; }
  static void SetOptIn(bool optIn) { ::SetOptIn(detail::Flag(optIn)); }
  static void SetSendDisabled(bool disabled) { ::SetSendDisabled(detail::Flag(disabled)); }
  static void SendMessages() { ::SendMessages(); }
  static const QZChar* GetDefaultSession() { return ::GetDefaultSession(); }
  static const QZChar* GetMessageGroup() { return ::GetMessageGroup(); }
  static void SetLogLevel(int level) { ::SetLogLevel(level); }

  static void SessionStart(const QZChar* session, const BinaryInfo* binaryInfo,
                           const ExtendedKeys* keys) {
    ::SessionStart(session, Of(binaryInfo), Of(keys));
  }
  static void SessionStart(const QZChar* session, const ExtendedKeys* keys) {
    SessionStart(session, nullptr, keys);
  }
  static void SessionStop(const QZChar* session, const BinaryInfo* binaryInfo,
                          const ExtendedKeys* keys) {
    ::SessionStop(session, Of(binaryInfo), Of(keys));
  }
  static void SessionStop(const QZChar* session, const ExtendedKeys* keys) {
    SessionStop(session, nullptr, keys);
  }

  static void FeatureStart(const QZChar* name, const QZChar* session, const BinaryInfo* binaryInfo,
                           const ExtendedKeys* keys) {
    ::FeatureStart(name, session, Of(binaryInfo), Of(keys));
  }
  static void FeatureStart(const QZChar* name, const BinaryInfo* binaryInfo,
                           const ExtendedKeys* keys) {
    FeatureStart(name, nullptr, binaryInfo, keys);
  }
  static void FeatureStart(const QZChar* name, const ExtendedKeys* keys) {
    FeatureStart(name, nullptr, nullptr, keys);
  }
  static void FeatureStop(const QZChar* name, const QZChar* session, const BinaryInfo* binaryInfo,
                          const ExtendedKeys* keys) {
    ::FeatureStop(name, session, Of(binaryInfo), Of(keys));
  }
  static void FeatureStop(const QZChar* name, const BinaryInfo* binaryInfo,
                          const ExtendedKeys* keys) {
    FeatureStop(name, nullptr, binaryInfo, keys);
  }
  static void FeatureStop(const QZChar* name, const ExtendedKeys* keys) {
    FeatureStop(name, nullptr, nullptr, keys);
  }
  static void FeatureTick(const QZChar* name, const QZChar* session, const BinaryInfo* binaryInfo,
                          const ExtendedKeys* keys) {
    ::FeatureTick(name, session, Of(binaryInfo), Of(keys));
  }
  static void FeatureTick(const QZChar* name, const BinaryInfo* binaryInfo,
                          const ExtendedKeys* keys) {
    FeatureTick(name, nullptr, binaryInfo, keys);
  }
  static void FeatureTick(const QZChar* name, const ExtendedKeys* keys) {
    FeatureTick(name, nullptr, nullptr, keys);
  }

  static void PerformanceProbe(const QZChar* name, const QZChar* session,
                               const BinaryInfo* binaryInfo, const ExtendedKeys* keys) {
    ::PerformanceProbe(name, session, Of(binaryInfo), Of(keys));
  }
  static void PerformanceProbe(const QZChar* name, const BinaryInfo* binaryInfo,
                               const ExtendedKeys* keys) {
    PerformanceProbe(name, nullptr, binaryInfo, keys);
  }
  static void PerformanceProbe(const QZChar* name, const ExtendedKeys* keys) {
    PerformanceProbe(name, nullptr, nullptr, keys);
  }

  // Reads the whole machine before it returns (with full data, a dozen WMI
  // queries on Windows): call it rarely, from a thread that can wait.
  static void SystemProfile(const QZChar* session, const BinaryInfo* binaryInfo,
                            const ExtendedKeys* keys) {
    ::SystemProfile(session, Of(binaryInfo), Of(keys));
  }
  static void SystemProfile(const BinaryInfo* binaryInfo, const ExtendedKeys* keys) {
    SystemProfile(nullptr, binaryInfo, keys);
  }
  static void SystemProfile(const ExtendedKeys* keys) { SystemProfile(nullptr, nullptr, keys); }

  static void ReportException(const ExceptionInfo* info, const QZChar* session,
                              const BinaryInfo* binaryInfo, const ExtendedKeys* keys) {
    ::ReportException(Of(info), session, Of(binaryInfo), Of(keys));
  }
  static void ReportException(const ExceptionInfo& info, const QZChar* session,
                              const BinaryInfo* binaryInfo, const ExtendedKeys* keys) {
    ReportException(&info, session, binaryInfo, keys);
  }
  static void ReportException(const ExceptionInfo* info, const BinaryInfo* binaryInfo,
                              const ExtendedKeys* keys) {
    ReportException(info, nullptr, binaryInfo, keys);
  }
  static void ReportException(const ExceptionInfo& info, const BinaryInfo* binaryInfo,
                              const ExtendedKeys* keys) {
    ReportException(&info, nullptr, binaryInfo, keys);
  }
  static void ReportException(const ExceptionInfo* info, const ExtendedKeys* keys) {
    ReportException(info, nullptr, nullptr, keys);
  }
  static void ReportException(const ExceptionInfo& info, const ExtendedKeys* keys) {
    ReportException(&info, nullptr, nullptr, keys);
  }

  API() = delete;

 private:
  // The library's object behind each, or null: a null pointer means "none" to
  // the flat functions, as it does to the exported classes.
  static const QZConfiguration* Of(const Configuration* o) { return o ? o->handle : nullptr; }
  static const QZFlowController* Of(const FlowController* o) { return o ? o->handle : nullptr; }
  static const QZBinaryInfo* Of(const BinaryInfo* o) { return o ? o->handle : nullptr; }
  static const QZExtendedKeys* Of(const ExtendedKeys* o) { return o ? o->handle : nullptr; }
  static const QZExceptionInfo* Of(const ExceptionInfo* o) { return o ? o->handle : nullptr; }
};

QZ_INLINE_NAMESPACE_END
}  // namespace qz

#undef QZ_INLINE_NAMESPACE_BEGIN
#undef QZ_INLINE_NAMESPACE_END

#pragma pop_macro("GetMessage")
#pragma pop_macro("GetClassName")

#endif  // QZ_INLINE_H
