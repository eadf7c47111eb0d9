/* Flat interface: plain exported functions for hosts that cannot use the C++ classes
   (C, and any language that can call a shared library's functions). Compiles as C99
   and as C++.

   Handles are the library's own objects: to a C++ compiler that uses the library's
   exported classes they are the classes of qz/qz.h, so an object made here may be
   passed to the classes and the reverse; to a C compiler, and under QZ_USE_FLAT_ABI
   (Visual C++, see qz/export.h), they are opaque. The host owns what it creates and
   frees it with the matching Delete function; the library keeps nothing after a
   call returns. A Create function returns null when memory runs out.

   Texts are NUL-terminated UTF-16 (QZChar, 16-bit units on every system).
   Booleans are int: 0 is false, anything else true; returned ones are 0 or 1.
   long is the platform's long: 32 bits on Windows, 64 bits on Linux.
   Every setter and Delete function ignores a null handle. */
#ifndef QZ_FLAT_H
#define QZ_FLAT_H

#include <stdint.h>

#include "qz/export.h"

#if defined(__cplusplus) && !defined(QZ_USE_FLAT_ABI)
namespace qz {
class Configuration;
class BinaryInfo;
class ExtendedKeys;
class ExtendedKey;
class FlowController;
class ExceptionInfo;
class StringBuf;
}  // namespace qz
typedef qz::Configuration QZConfiguration;
typedef qz::BinaryInfo QZBinaryInfo;
typedef qz::ExtendedKeys QZExtendedKeys;
typedef qz::ExtendedKey QZExtendedKey;
typedef qz::FlowController QZFlowController;
typedef qz::ExceptionInfo QZExceptionInfo;
typedef qz::StringBuf QZStringBuf;
#else
typedef struct QZConfiguration QZConfiguration;
typedef struct QZBinaryInfo QZBinaryInfo;
typedef struct QZExtendedKeys QZExtendedKeys;
typedef struct QZExtendedKey QZExtendedKey;
typedef struct QZFlowController QZFlowController;
typedef struct QZExceptionInfo QZExceptionInfo;
typedef struct QZStringBuf QZStringBuf;
#endif
#ifdef __cplusplus
extern "C" {
#endif

/* Object lifetime. */
QZ_API QZConfiguration* CreateConfiguration(void);
QZ_API void DeleteConfiguration(QZConfiguration* config);
QZ_API QZBinaryInfo* CreateBinaryInfo(void);
QZ_API void DeleteBinaryInfo(QZBinaryInfo* binaryInfo);
QZ_API QZExtendedKeys* CreateExtendedKeys(void);
QZ_API void DeleteExtendedKeys(QZExtendedKeys* keys);
QZ_API QZFlowController* CreateFlowController(void);
QZ_API void DeleteFlowController(QZFlowController* flow);
QZ_API QZExceptionInfo* CreateExceptionInfo(void);
QZ_API void DeleteExceptionInfo(QZExceptionInfo* info);

/* Configuration. The "Initial" flags belong to a configuration that is yet to be
   passed to ApplicationStart; SetOptIn and SetSendDisabled below change the run. */
QZ_API void SetCompanyID(QZConfiguration* config, const QZChar* id);
QZ_API void SetCompanyName(QZConfiguration* config, const QZChar* name);
QZ_API void SetApplicationID(QZConfiguration* config, const QZChar* id);
QZ_API void SetApplicationName(QZConfiguration* config, const QZChar* name);
QZ_API void SetApplicationType(QZConfiguration* config, const QZChar* type);
QZ_API void SetApplicationVersion(QZConfiguration* config, const QZChar* version);
QZ_API void SetApplicationInstanceID(QZConfiguration* config, const QZChar* id);
QZ_API void SetEndpointLocation(QZConfiguration* config, const QZChar* location);
QZ_API void SetEndpointUseSSL(QZConfiguration* config, int useSSL);
QZ_API void SetEndpointTimeout(QZConfiguration* config, long milliseconds);
QZ_API void SetInitialOptIn(QZConfiguration* config, int optIn);
QZ_API void SetOffline(QZConfiguration* config, int offline);
QZ_API void SetInitialSendDisabled(QZConfiguration* config, int sendDisabled);
QZ_API void SetSupportOfflineStorage(QZConfiguration* config, int supported);
QZ_API void SetOmitPersonalInfo(QZConfiguration* config, int omit);
QZ_API void SetFullData(QZConfiguration* config, int fullData);
/* 1 when both identifiers were stored or cleared; 0 when refused or config is null. */
QZ_API int SetDefaultIDs(QZConfiguration* config, const QZChar* messageGroup,
                         const QZChar* defaultSession);

/* BinaryInfo. */
QZ_API void SetBinaryInfoID(QZBinaryInfo* binaryInfo, const QZChar* id);
QZ_API void SetBinaryInfoName(QZBinaryInfo* binaryInfo, const QZChar* name);
QZ_API void SetBinaryInfoVersion(QZBinaryInfo* binaryInfo, const QZChar* version);
QZ_API void SetBinaryInfoClassName(QZBinaryInfo* binaryInfo, const QZChar* className);
QZ_API void SetBinaryInfoMethodName(QZBinaryInfo* binaryInfo, const QZChar* methodName);
/* Milliseconds since 1970-01-01 UTC; 0 means not set. */
QZ_API void SetBinaryInfoModifiedDate(QZBinaryInfo* binaryInfo, uint64_t milliseconds);

/* ExtendedKeys. */
QZ_API void AddExtendedKeysString(QZExtendedKeys* keys, const QZChar* key, const QZChar* value);
QZ_API void AddExtendedKeysInt(QZExtendedKeys* keys, const QZChar* key, int value);
QZ_API void AddExtendedKeysLong(QZExtendedKeys* keys, const QZChar* key, long value);
QZ_API void AddExtendedKeysFloat(QZExtendedKeys* keys, const QZChar* key, float value);
QZ_API void AddExtendedKeysDouble(QZExtendedKeys* keys, const QZChar* key, double value);

/* FlowController. Sizes are widened with their sign: -1 asks for the largest
   size, which the controller then limits as it sees fit. */
QZ_API void SetFlowControllerQueueSize(QZFlowController* flow, int size);
QZ_API void SetFlowControllerHighWater(QZFlowController* flow, int highWater);
QZ_API void SetFlowControllerMaximumInterval(QZFlowController* flow, unsigned int milliseconds);
QZ_API void SetFlowControllerMinimumInterval(QZFlowController* flow, unsigned int milliseconds);
QZ_API void SetFlowControllerGain(QZFlowController* flow, unsigned int percent);
QZ_API void SetFlowControllerQuietGain(QZFlowController* flow, unsigned int percent);
QZ_API void SetFlowControllerMaximumSequentialFailureCount(QZFlowController* flow,
                                                           unsigned int count);
QZ_API void SetFlowControllerRetryTimeout(QZFlowController* flow, long milliseconds);

/* ExceptionInfo. Event types: 100 caught, 200 uncaught, 300 thrown. */
QZ_API void SetExceptionInfoEventType(QZExceptionInfo* info, int eventType);
QZ_API void SetExceptionInfoType(QZExceptionInfo* info, const QZChar* type);
QZ_API void SetExceptionInfoMessage(QZExceptionInfo* info, const QZChar* message);
QZ_API void SetExceptionInfoUserContact(QZExceptionInfo* info, const QZChar* contact);
QZ_API void SetExceptionInfoUserComment(QZExceptionInfo* info, const QZChar* comment);

/* The run. Any handle may be null; a null session means the run's default session
   (SessionStart and SessionStop need one). */
QZ_API int ApplicationStart(const QZConfiguration* config, const QZFlowController* flow,
                            const QZBinaryInfo* binaryInfo, const QZExtendedKeys* keys);
QZ_API void ApplicationStop(const QZBinaryInfo* binaryInfo, const QZExtendedKeys* keys);
QZ_API void SessionStart(const QZChar* session, const QZBinaryInfo* binaryInfo,
                         const QZExtendedKeys* keys);
QZ_API void SessionStop(const QZChar* session, const QZBinaryInfo* binaryInfo,
                        const QZExtendedKeys* keys);
QZ_API void FeatureStart(const QZChar* name, const QZChar* session,
                         const QZBinaryInfo* binaryInfo, const QZExtendedKeys* keys);
QZ_API void FeatureStop(const QZChar* name, const QZChar* session,
                        const QZBinaryInfo* binaryInfo, const QZExtendedKeys* keys);
QZ_API void FeatureTick(const QZChar* name, const QZChar* session,
                        const QZBinaryInfo* binaryInfo, const QZExtendedKeys* keys);
QZ_API void PerformanceProbe(const QZChar* name, const QZChar* session,
                             const QZBinaryInfo* binaryInfo, const QZExtendedKeys* keys);
/* Reads the whole machine before it returns: slow, call it rarely. */
QZ_API void SystemProfile(const QZChar* session, const QZBinaryInfo* binaryInfo,
                          const QZExtendedKeys* keys);
QZ_API void ReportException(const QZExceptionInfo* info, const QZChar* session,
                            const QZBinaryInfo* binaryInfo, const QZExtendedKeys* keys);
QZ_API void SetOptIn(int optIn);
QZ_API void SetSendDisabled(int disabled);
QZ_API void SendMessages(void);
QZ_API int IsApplicationStarted(void);
/* The run's identifiers, or null when no run is in progress. The text belongs to
   the library and stays valid until the run stops. */
QZ_API const QZChar* GetDefaultSession(void);
QZ_API const QZChar* GetMessageGroup(void);
/* 100 information, 200 warnings, 300 errors only (the default). */
QZ_API void SetLogLevel(int level);

/* Transport options beyond the defaults (Configuration::SetVerifyServerCertificate,
   SetServerCertificatePin, SetUseSystemProxy); all off unless set. */
QZ_API void SetVerifyServerCertificate(QZConfiguration* config, int verify);
QZ_API void SetServerCertificatePin(QZConfiguration* config, const QZChar* pins);
QZ_API void SetUseSystemProxy(QZConfiguration* config, int use);
/* Bytes the company's folder of stored
   batches may hold; 0, the default, for no limit (see Configuration.h). */
QZ_API void SetOfflineStorageLimit(QZConfiguration* config, uint64_t bytes);

/* The rest of the classes' members, for hosts that use the library through these
   functions alone (the inline classes of qz/qz_inline.h are made of them). Each
   wraps the member its name says: Assign<Class> is the class's assignment from a
   pointer (a null source resets to the defaults), Get<Class><Field> and
   Is<Class><Field> its getters, <Class><Operation> any other operation.
   Returned texts belong to the object and stay valid until that field changes or
   the object is deleted. A null handle gives an empty text, 0 or false. */

/* Copies. */
QZ_API void AssignConfiguration(QZConfiguration* config, const QZConfiguration* from);
QZ_API void AssignBinaryInfo(QZBinaryInfo* binaryInfo, const QZBinaryInfo* from);
QZ_API void AssignFlowController(QZFlowController* flow, const QZFlowController* from);
QZ_API void AssignExceptionInfo(QZExceptionInfo* info, const QZExceptionInfo* from);

/* Configuration. */
QZ_API const QZChar* GetConfigurationCompanyID(const QZConfiguration* config);
QZ_API const QZChar* GetConfigurationCompanyName(const QZConfiguration* config);
QZ_API const QZChar* GetConfigurationApplicationID(const QZConfiguration* config);
QZ_API const QZChar* GetConfigurationApplicationType(const QZConfiguration* config);
QZ_API const QZChar* GetConfigurationApplicationName(const QZConfiguration* config);
QZ_API const QZChar* GetConfigurationApplicationVersion(const QZConfiguration* config);
QZ_API const QZChar* GetConfigurationApplicationInstanceID(const QZConfiguration* config);
QZ_API const QZChar* GetConfigurationEndpointLocation(const QZConfiguration* config);
QZ_API const QZChar* GetConfigurationMessageGroup(const QZConfiguration* config);
QZ_API const QZChar* GetConfigurationDefaultSession(const QZConfiguration* config);
QZ_API int IsConfigurationUseSSL(const QZConfiguration* config);
QZ_API int IsConfigurationOptIn(const QZConfiguration* config);
QZ_API int IsConfigurationOffline(const QZConfiguration* config);
QZ_API int IsConfigurationSendDisabled(const QZConfiguration* config);
QZ_API int IsConfigurationSupportOfflineStorage(const QZConfiguration* config);
QZ_API int IsConfigurationOmitPersonalInfo(const QZConfiguration* config);
QZ_API int IsConfigurationFullData(const QZConfiguration* config);
QZ_API long GetConfigurationEndpointTimeout(const QZConfiguration* config);
QZ_API int IsConfigurationVerifyServerCertificate(const QZConfiguration* config);
QZ_API const QZChar* GetConfigurationServerCertificatePin(const QZConfiguration* config);
QZ_API int IsConfigurationUseSystemProxy(const QZConfiguration* config);
QZ_API uint64_t GetConfigurationOfflineStorageLimit(const QZConfiguration* config);

/* BinaryInfo. */
QZ_API const QZChar* GetBinaryInfoID(const QZBinaryInfo* binaryInfo);
QZ_API const QZChar* GetBinaryInfoName(const QZBinaryInfo* binaryInfo);
QZ_API const QZChar* GetBinaryInfoVersion(const QZBinaryInfo* binaryInfo);
QZ_API const QZChar* GetBinaryInfoClassName(const QZBinaryInfo* binaryInfo);
QZ_API const QZChar* GetBinaryInfoMethodName(const QZBinaryInfo* binaryInfo);
QZ_API const QZChar* GetBinaryInfoModifiedDateString(const QZBinaryInfo* binaryInfo);
QZ_API uint64_t GetBinaryInfoModifiedDate(const QZBinaryInfo* binaryInfo);

/* ExtendedKeys: the properties in key order. A property handle stays valid until
   its key is added again or its ExtendedKeys is deleted; kinds: 0 text, 1 int,
   2 long, 3 float, 4 double. */
QZ_API uint64_t GetExtendedKeysSize(const QZExtendedKeys* keys);
/* Null when index is not below the size. */
QZ_API const QZExtendedKey* GetExtendedKey(const QZExtendedKeys* keys, uint64_t index);
QZ_API const QZChar* GetExtendedKeyKey(const QZExtendedKey* property);
QZ_API const QZChar* GetExtendedKeyValue(const QZExtendedKey* property);
QZ_API int GetExtendedKeyKind(const QZExtendedKey* property);

/* FlowController. The run takes its offline, offline-storage and send-disabled
   flags from the configuration, whatever these say. */
QZ_API void SetFlowControllerOffline(QZFlowController* flow, int offline);
QZ_API void SetFlowControllerSupportOfflineStorage(QZFlowController* flow, int supported);
QZ_API void SetFlowControllerSendDisabled(QZFlowController* flow, int sendDisabled);
QZ_API uint64_t GetFlowControllerQueueSize(const QZFlowController* flow);
QZ_API uint64_t GetFlowControllerHighWater(const QZFlowController* flow);
QZ_API unsigned int GetFlowControllerMaximumInterval(const QZFlowController* flow);
QZ_API unsigned int GetFlowControllerMinimumInterval(const QZFlowController* flow);
QZ_API unsigned int GetFlowControllerGain(const QZFlowController* flow);
QZ_API unsigned int GetFlowControllerQuietGain(const QZFlowController* flow);
QZ_API unsigned int GetFlowControllerMaximumSequentialFailureCount(const QZFlowController* flow);
QZ_API long GetFlowControllerRetryTimeout(const QZFlowController* flow);
QZ_API int IsFlowControllerOffline(const QZFlowController* flow);
QZ_API int IsFlowControllerSupportOfflineStorage(const QZFlowController* flow);
QZ_API int IsFlowControllerSendDisabled(const QZFlowController* flow);
/* The pacing the library's sending threads do with their own controllers. */
QZ_API unsigned int FlowControllerGetInterval(QZFlowController* flow, uint64_t count);
QZ_API uint64_t FlowControllerMessagesToDrop(const QZFlowController* flow, uint64_t count);
QZ_API int FlowControllerOKToTransmit(const QZFlowController* flow);
QZ_API void FlowControllerOnSend(QZFlowController* flow, int success);

/* ExceptionInfo. */
QZ_API int GetExceptionInfoEventType(const QZExceptionInfo* info);
/* "caught", "uncaught" or "thrown". */
QZ_API const QZChar* GetExceptionInfoEventTypeString(const QZExceptionInfo* info);
QZ_API const QZChar* GetExceptionInfoType(const QZExceptionInfo* info);
QZ_API const QZChar* GetExceptionInfoMessage(const QZExceptionInfo* info);
QZ_API const QZChar* GetExceptionInfoUserContact(const QZExceptionInfo* info);
QZ_API const QZChar* GetExceptionInfoUserComment(const QZExceptionInfo* info);
/* Caught, Uncaught or Thrown given an exception whose what() is the text: the
   event type 100, 200 or 300 (any other value does nothing), and the message
   replaced by the text, each byte one character; the type name stays. */
QZ_API void ExceptionInfoFromException(QZExceptionInfo* info, int eventType, const char* what);

/* StringBuf: the library's string. The functions that may need memory return 1,
   or 0 when it ran out (the string is then as it was); a Create function returns
   null then. The text is never null and holds GetStringBufLength characters
   before its terminator (more when NULs were appended). */
QZ_API QZStringBuf* CreateStringBuf(uint64_t capacity);
QZ_API QZStringBuf* CreateStringBufFromText(const QZChar* text);
QZ_API void DeleteStringBuf(QZStringBuf* text);
QZ_API int AssignStringBuf(QZStringBuf* text, const QZChar* from);
QZ_API const QZChar* GetStringBufText(const QZStringBuf* text);
QZ_API uint64_t GetStringBufLength(const QZStringBuf* text);
QZ_API uint64_t GetStringBufCapacity(const QZStringBuf* text);
QZ_API uint64_t GetStringBufGrowth(const QZStringBuf* text);
/* Exactly count characters of chars, NULs included. */
QZ_API int StringBufAppend(QZStringBuf* text, const QZChar* chars, uint64_t count);
/* Each byte one character. */
QZ_API int StringBufAppendNarrow(QZStringBuf* text, const char* narrow);
QZ_API int StringBufAppendInt32(QZStringBuf* text, int32_t value, int32_t radix);
QZ_API int StringBufAppendUInt32(QZStringBuf* text, uint32_t value, int32_t radix);
QZ_API int StringBufAppendUInt64(QZStringBuf* text, uint64_t value, int32_t radix);
QZ_API int StringBufAppendDouble(QZStringBuf* text, double value);
QZ_API void StringBufClear(QZStringBuf* text);
QZ_API void StringBufTrim(QZStringBuf* text);
QZ_API void StringBufToUpperCase(QZStringBuf* text);
QZ_API void StringBufToLowercase(QZStringBuf* text);
QZ_API int StringBufStartsWith(const QZStringBuf* text, const QZChar* prefix, uint64_t offset);
QZ_API int64_t StringBufLastIndexOf(QZStringBuf* text, QZChar c);
QZ_API void StringBufSubString(QZStringBuf* text, int64_t start, uint64_t count);
QZ_API void StringBufSubStringFrom(QZStringBuf* text, int64_t start);

#ifdef __cplusplus
}
#endif

#endif /* QZ_FLAT_H */
