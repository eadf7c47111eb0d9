/* Flat interface: plain exported functions for hosts that cannot use the C++ classes
   (C, and any language that can call a shared library's functions). Compiles as C99
   and as C++.

   Handles are the library's own objects: to a C++ compiler they are the classes of
   qz/qz.h, so an object made here may be passed to the classes and the reverse; to a
   C compiler they are opaque. The host owns what it creates and frees it with the
   matching Delete function; the library keeps nothing after a call returns.
   A Create function returns null when memory runs out.

   Texts are NUL-terminated UTF-16 (QZChar, 16-bit units on every system).
   Booleans are int: 0 is false, anything else true; returned ones are 0 or 1.
   long is the platform's long: 32 bits on Windows, 64 bits on Linux.
   Every setter and Delete function ignores a null handle. */
#ifndef QZ_FLAT_H
#define QZ_FLAT_H

#include <stdint.h>

#include "qz/export.h"

#ifdef __cplusplus
namespace qz {
class Configuration;
class BinaryInfo;
class ExtendedKeys;
class FlowController;
class ExceptionInfo;
}  // namespace qz
typedef qz::Configuration QZConfiguration;
typedef qz::BinaryInfo QZBinaryInfo;
typedef qz::ExtendedKeys QZExtendedKeys;
typedef qz::FlowController QZFlowController;
typedef qz::ExceptionInfo QZExceptionInfo;
extern "C" {
#else
typedef struct QZConfiguration QZConfiguration;
typedef struct QZBinaryInfo QZBinaryInfo;
typedef struct QZExtendedKeys QZExtendedKeys;
typedef struct QZFlowController QZFlowController;
typedef struct QZExceptionInfo QZExceptionInfo;
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

#ifdef __cplusplus
}
#endif

#endif /* QZ_FLAT_H */
