// API: the host application's door into the library. Static operations only.
#ifndef QZ_API_H
#define QZ_API_H

#include "qz/export.h"

#if defined(QZ_USE_FLAT_ABI)
// Compilers that cannot call the exported classes get the same ones inline.
#include "qz/qz_inline.h"
#else

#include <cstdint>

namespace qz {

class Configuration;
class FlowController;
class BinaryInfo;
class ExtendedKeys;
class ExceptionInfo;

class QZ_API API {
 public:
  // Values for SetLogLevel.
  static const int32_t LOG_INFO;
  static const int32_t LOG_WARN;
  static const int32_t LOG_ERROR;

  // Returns whether a run is in progress when the call returns.
  static bool ApplicationStart(const Configuration* config, const FlowController* flow,
                               const BinaryInfo* binaryInfo, const ExtendedKeys* keys);
  static bool ApplicationStart(const Configuration* config, const BinaryInfo* binaryInfo,
                               const ExtendedKeys* keys);
  static bool ApplicationStart(const Configuration* config, const ExtendedKeys* keys);
  static bool ApplicationStart(const Configuration* config, const FlowController* flow,
                               const ExtendedKeys* keys);

  static void ApplicationStop(const BinaryInfo* binaryInfo, const ExtendedKeys* keys);
  static void ApplicationStop(const ExtendedKeys* keys);

  static bool IsApplicationStarted();
  static void SetOptIn(bool optIn);
  static void SetSendDisabled(bool disabled);
  static void SendMessages();
  static const QZChar* GetDefaultSession();
  static const QZChar* GetMessageGroup();
  static void SetLogLevel(int level);

  static void SessionStart(const QZChar* session, const BinaryInfo* binaryInfo,
                           const ExtendedKeys* keys);
  static void SessionStart(const QZChar* session, const ExtendedKeys* keys);
  static void SessionStop(const QZChar* session, const BinaryInfo* binaryInfo,
                          const ExtendedKeys* keys);
  static void SessionStop(const QZChar* session, const ExtendedKeys* keys);

  static void FeatureStart(const QZChar* name, const QZChar* session, const BinaryInfo* binaryInfo,
                           const ExtendedKeys* keys);
  static void FeatureStart(const QZChar* name, const BinaryInfo* binaryInfo,
                           const ExtendedKeys* keys);
  static void FeatureStart(const QZChar* name, const ExtendedKeys* keys);
  static void FeatureStop(const QZChar* name, const QZChar* session, const BinaryInfo* binaryInfo,
                          const ExtendedKeys* keys);
  static void FeatureStop(const QZChar* name, const BinaryInfo* binaryInfo,
                          const ExtendedKeys* keys);
  static void FeatureStop(const QZChar* name, const ExtendedKeys* keys);
  static void FeatureTick(const QZChar* name, const QZChar* session, const BinaryInfo* binaryInfo,
                          const ExtendedKeys* keys);
  static void FeatureTick(const QZChar* name, const BinaryInfo* binaryInfo,
                          const ExtendedKeys* keys);
  static void FeatureTick(const QZChar* name, const ExtendedKeys* keys);

  static void PerformanceProbe(const QZChar* name, const QZChar* session,
                               const BinaryInfo* binaryInfo, const ExtendedKeys* keys);
  static void PerformanceProbe(const QZChar* name, const BinaryInfo* binaryInfo,
                               const ExtendedKeys* keys);
  static void PerformanceProbe(const QZChar* name, const ExtendedKeys* keys);

  // Reads the whole machine before it returns (with full data, a dozen WMI
  // queries on Windows): call it rarely, from a thread that can wait.
  static void SystemProfile(const QZChar* session, const BinaryInfo* binaryInfo,
                            const ExtendedKeys* keys);
  static void SystemProfile(const BinaryInfo* binaryInfo, const ExtendedKeys* keys);
  static void SystemProfile(const ExtendedKeys* keys);

  static void ReportException(const ExceptionInfo* info, const QZChar* session,
                              const BinaryInfo* binaryInfo, const ExtendedKeys* keys);
  static void ReportException(const ExceptionInfo& info, const QZChar* session,
                              const BinaryInfo* binaryInfo, const ExtendedKeys* keys);
  static void ReportException(const ExceptionInfo* info, const BinaryInfo* binaryInfo,
                              const ExtendedKeys* keys);
  static void ReportException(const ExceptionInfo& info, const BinaryInfo* binaryInfo,
                              const ExtendedKeys* keys);
  static void ReportException(const ExceptionInfo* info, const ExtendedKeys* keys);
  static void ReportException(const ExceptionInfo& info, const ExtendedKeys* keys);

  API() = delete;
};

}  // namespace qz

#endif  // QZ_USE_FLAT_ABI

#endif  // QZ_API_H
