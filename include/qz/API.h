// API: the host application's door into the library. Static operations only.
/// @file
/// The run and its events: qz::API.
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

/// The host's door into the library: one run per process, and the events
/// reported during it.
///
/// Every operation is static, may be called from any thread at any time
/// (before a start, during a run, after a stop) and returns quickly: an event
/// is built on the caller's thread, queued under a short lock and posted later
/// by the library's own threads. The exceptions are SystemProfile, which reads
/// the machine on the caller's thread, and ApplicationStop, which waits for
/// the library's threads to end.
///
/// No operation throws or reports an error to the caller: bad input (a null
/// or empty name where one is needed, a session that is not a GUID) is logged
/// with the operation's name as source and the event is dropped. Events
/// reported while no run is started, or while the run is opted out, are
/// dropped silently. The library keeps no pointer to the objects passed in:
/// what it needs is copied before the call returns. Null `BinaryInfo`,
/// `ExtendedKeys` and `FlowController` arguments mean "none" (or the
/// defaults).
class QZ_API API {
 public:
  /// @name Log levels
  /// Values for SetLogLevel: the least severe entry the library writes to
  /// the system log.
  ///@{

  /// Information, warnings and errors (100).
  static const int32_t LOG_INFO;
  /// Warnings and errors (200).
  static const int32_t LOG_WARN;
  /// Errors only (300), the default.
  static const int32_t LOG_ERROR;
  ///@}

  /// @name Starting and stopping the run
  ///@{

  /// Starts the run: copies the configuration (and the flow controller, or
  /// the defaults when it is null), starts the transmitter and offline sender
  /// threads and queues the application and session start messages. A
  /// configuration that carries the host's own run identifiers
  /// (Configuration::SetDefaultIDs) continues a run the host identifies: no
  /// start messages are sent, and ApplicationStop sends no stop messages.
  ///
  /// Returns whether a run is in progress when the call returns: true at once
  /// when one already is (the new configuration is ignored). Returns false,
  /// logging why, when `config` is null or has no company or application ID,
  /// and when it is offline without offline storage. A configuration that is
  /// not opted in (Configuration::SetOptIn(false)) starts nothing and returns
  /// false; the run starts later if API::SetOptIn(true) is called. A start
  /// that runs out of memory is undone whole and returns false.
  static bool ApplicationStart(const Configuration* config, const FlowController* flow,
                               const BinaryInfo* binaryInfo, const ExtendedKeys* keys);
  static bool ApplicationStart(const Configuration* config, const BinaryInfo* binaryInfo,
                               const ExtendedKeys* keys);
  static bool ApplicationStart(const Configuration* config, const ExtendedKeys* keys);
  static bool ApplicationStart(const Configuration* config, const FlowController* flow,
                               const ExtendedKeys* keys);

  /// Ends the run: queues the session and application stop messages, stops the library's
  /// threads (each waits at most the endpoint timeout plus 2 s for a post
  /// under way), stores or sends what is queued as the flow controller allows,
  /// and forgets the run. Does nothing when no run is started. Always ends the
  /// run, even when memory runs out (the stop message is then left out).
  /// Call it before unloading the library.
  static void ApplicationStop(const BinaryInfo* binaryInfo, const ExtendedKeys* keys);
  static void ApplicationStop(const ExtendedKeys* keys);
  ///@}

  /// @name The run's state
  ///@{

  /// Whether a run is in progress.
  static bool IsApplicationStarted();
  /// Opts the run in or out. While opted out every event is dropped. Opting
  /// in when no run is started starts one with the configuration last passed
  /// to ApplicationStart, if that has the IDs a start needs.
  static void SetOptIn(bool optIn);
  /// While disabled nothing is posted: live batches are stored (when offline
  /// storage is allowed) and stored ones wait. Ignored when no run is started.
  static void SetSendDisabled(bool disabled);
  /// Asks the transmitter to post what is queued now rather than at its next
  /// interval, and the offline sender to try one stored batch. Returns at
  /// once; ignored when no run is started.
  static void SendMessages();
  /// The run's default session ID (a GUID), or null when no run is started.
  /// The text belongs to the library and stays valid until the run stops.
  static const QZChar* GetDefaultSession();
  /// The run's message group ID (a GUID), or null when no run is started.
  /// The text belongs to the library and stays valid until the run stops.
  static const QZChar* GetMessageGroup();
  /// Sets the least severe entry written to the system log: LOG_INFO,
  /// LOG_WARN or LOG_ERROR (the default). Holds for the process, across runs.
  static void SetLogLevel(int level);
  ///@}

  /// @name Sessions
  ///@{

  /// Reports that a user session began (SessionStart) or ended (SessionStop).
  /// `session` must be a GUID (36 characters, hexadecimal digits and dashes,
  /// either case); null or anything else is logged and the event dropped.
  static void SessionStart(const QZChar* session, const BinaryInfo* binaryInfo,
                           const ExtendedKeys* keys);
  static void SessionStart(const QZChar* session, const ExtendedKeys* keys);
  static void SessionStop(const QZChar* session, const BinaryInfo* binaryInfo,
                          const ExtendedKeys* keys);
  static void SessionStop(const QZChar* session, const ExtendedKeys* keys);
  ///@}

  /// @name Features
  ///@{

  /// Reports the use of a feature: FeatureStart and FeatureStop bracket a
  /// use (a stop is paired with the latest unmatched start of the same name
  /// on the same thread, else of the same name on any thread), FeatureTick
  /// counts a single use.
  ///
  /// `name` must be non-empty (null or empty is logged and dropped). A null
  /// or empty `session` means the run's default session; a session that is
  /// not a GUID is logged and the event dropped. Names are sent as given.
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
  ///@}

  /// @name Measurements
  ///@{

  /// Reports a performance probe: the process's memory use and the
  /// machine's available memory and processor load (about the last second),
  /// under `name` (which may be null). Session as for features. Cheap on the
  /// caller's thread (one small read of the process's own statistics on
  /// Linux).
  static void PerformanceProbe(const QZChar* name, const QZChar* session,
                               const BinaryInfo* binaryInfo, const ExtendedKeys* keys);
  static void PerformanceProbe(const QZChar* name, const BinaryInfo* binaryInfo,
                               const ExtendedKeys* keys);
  static void PerformanceProbe(const QZChar* name, const ExtendedKeys* keys);

  /// Reports a profile of the machine (model, processors, memory, drives,
  /// network adapters, domain, time zone, page files, screen, video, sound,
  /// modem, terminal services). Reads the whole machine on the caller's
  /// thread before it returns (with full data, a dozen WMI queries on
  /// Windows): call it rarely, from a thread that can wait. What the
  /// configuration's full-data and omit-personal-information settings
  /// exclude is left out. Session as for features.
  static void SystemProfile(const QZChar* session, const BinaryInfo* binaryInfo,
                            const ExtendedKeys* keys);
  static void SystemProfile(const BinaryInfo* binaryInfo, const ExtendedKeys* keys);
  static void SystemProfile(const ExtendedKeys* keys);
  ///@}

  /// @name Faults
  ///@{

  /// Reports an exception the host met, with its type, message and the
  /// user's contact and comment. A null `info` is ignored. Session as for
  /// features.
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
  ///@}

  /// Not constructible: every operation is static.
  API() = delete;
};

}  // namespace qz

#endif  // QZ_USE_FLAT_ABI

#endif  // QZ_API_H
