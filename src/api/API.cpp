#include "qz/API.h"

#include <memory>

#include "api/RunState.h"
#include "delivery/Abandoned.h"
#include "delivery/MessageQueue.h"
#include "delivery/Mutex.h"
#include "delivery/XMLTransmitter.h"
#include "messages/ApplicationStart.h"
#include "messages/ApplicationStop.h"
#include "messages/Feature.h"
#include "messages/FeatureCorrelator.h"
#include "messages/Fault.h"
#include "messages/HostTag.h"
#include "messages/PerformanceProbe.h"
#include "messages/SessionStart.h"
#include "messages/SessionStop.h"
#include "messages/UserTag.h"
#include "offline/OfflineStorageSenderThread.h"
#include "platform/CaughtException.h"
#include "platform/Platform.h"
#include "profile/SystemProfile.h"
#include "qz/BinaryInfo.h"
#include "qz/Configuration.h"
#include "qz/ExceptionInfo.h"
#include "qz/ExtendedKeys.h"
#include "qz/FlowController.h"
#include "types/Guid.h"

namespace qz {

const int32_t API::LOG_INFO = Platform::LOG_INFO;
const int32_t API::LOG_WARN = Platform::LOG_WARN;
const int32_t API::LOG_ERROR = Platform::LOG_ERROR;

namespace {

const QZChar kStartSource[] = QZ_TEXT("API::ApplicationStart");

// Hands message to the queue. Returns what has to be destroyed: the oldest
// message when the queue overflowed, or message itself when it could not be
// queued. The caller destroys it once it has released the lock.
// REQUIRES: the global lock is held.
Message* QueueMessage(RunState& run, Message* message) {
  if (message == nullptr) return nullptr;
  if (run.messageQueue == nullptr) return message;
  return run.messageQueue->Add(message);
}

// Builds a message, or gives null when that failed (logged with source).
template <typename Build>
Message* Built(const QZChar* source, Build build) noexcept {
  try {
    return build();
  } catch (...) {
    LogCaughtException(source);
    return nullptr;
  }
}

// Stops and destroys what a run made, whatever of it exists.
// REQUIRES: the global lock is held.
void ReleaseRuntime(RunState& run) {
  delete run.featureCorrelator;
  run.featureCorrelator = nullptr;

  if (run.messageQueue != nullptr) {
    run.messageQueue->Stop();
    delete run.messageQueue;
    run.messageQueue = nullptr;
  }

  if (run.offlineSender != nullptr) {
    if (run.offlineSender->Stop()) {
      delete run.offlineSender;
    } else {
      Platform::LogError(QZ_TEXT("API::ApplicationStop"), QZ_TEXT("Offline sender abandoned"));
      KeepAbandoned(run.offlineSender);
    }
    run.offlineSender = nullptr;
  }

  // The queue is gone, so no message refers to the host and user elements any more.
  delete run.hostTag;
  run.hostTag = nullptr;
  delete run.userTag;
  run.userTag = nullptr;
}

// A run starts whole or not at all: when a part cannot be made, the parts
// made so far go again and the exception goes on to the caller.
// REQUIRES: the global lock is held.
void StartRuntime(RunState& run, const FlowController* flow, const BinaryInfo* binaryInfo,
                  const ExtendedKeys* keys) {
  Configuration& config = run.configuration;
  XMLTransmitter::BeginRun();
  run.flowController = flow;
  run.flowController.SetOffline(config.IsOffline());
  run.flowController.SetSendDisabled(config.IsSendDisabled());
  run.flowController.SetSupportOfflineStorage(config.IsSupportOfflineStorage());
  Platform::ApplyDefaultEndpoint(&config);

  if (config.GetMessageGroup()[0] != 0 && config.GetDefaultSession()[0] != 0) {
    run.externalIDs = true;
  } else {
    run.externalIDs = false;
    // One GUID serves as both, so a library-identified run has equal identifiers.
    StringBuf guid;
    Platform::NewGUID(guid);
    config.SetDefaultIDs(guid, guid);
  }

  std::unique_ptr<Message> applicationStart;
  std::unique_ptr<Message> sessionStart;
  try {
    run.featureCorrelator = new FeatureCorrelator();
    if (!run.externalIDs) {
      const bool fullData = config.IsFullData();
      const bool omitPersonalInfo = config.IsOmitPersonalInfo();
      run.hostTag = new HostTag(fullData, omitPersonalInfo);
      run.userTag = new UserTag(fullData, omitPersonalInfo);
      applicationStart.reset(new qz::ApplicationStart(config.GetDefaultSession(), binaryInfo, keys,
                                                      run.hostTag, run.userTag));
      sessionStart.reset(new qz::SessionStart(config.GetDefaultSession(), binaryInfo, keys));
    }
    // Made before the transmitter thread runs: it copies the flow controller,
    // which that thread changes from then on. Started at once: a Windows
    // thread made and never started would take its whole stop timeout to go
    // if the queue below cannot be made.
    if (!config.IsOffline()) {
      run.offlineSender = new OfflineStorageSenderThread(&config, &run.flowController);
      run.offlineSender->Start();
    }
    run.messageQueue = new MessageQueue(&config, &run.flowController);
  } catch (...) {
    ReleaseRuntime(run);
    if (!run.externalIDs) config.SetDefaultIDs(nullptr, nullptr);
    throw;
  }

  // Nothing from here on can fail.
  run.messageQueue->Start();
  delete QueueMessage(run, applicationStart.release());
  delete QueueMessage(run, sessionStart.release());
  run.defaultSession.Store(config.GetDefaultSession());
  run.started.store(true, std::memory_order_release);
}

// A stop always ends the run; a stop message that cannot be made is left out.
// REQUIRES: the global lock is held.
void StopRuntime(RunState& run, const BinaryInfo* binaryInfo, const ExtendedKeys* keys) {
  Configuration& config = run.configuration;
  run.started.store(false, std::memory_order_release);

  delete run.featureCorrelator;
  run.featureCorrelator = nullptr;

  if (!run.externalIDs) {
    const QZChar source[] = QZ_TEXT("API::ApplicationStop");
    delete QueueMessage(run, Built(source, [&] {
                          return new qz::SessionStop(config.GetDefaultSession(), binaryInfo, keys);
                        }));
    delete QueueMessage(run, Built(source, [&] {
                          return new qz::ApplicationStop(config.GetDefaultSession(), binaryInfo,
                                                         keys, run.hostTag, run.userTag);
                        }));
    config.SetDefaultIDs(nullptr, nullptr);
    run.externalIDs = false;
  }
  run.defaultSession.Store(nullptr);

  ReleaseRuntime(run);
}

// REQUIRES: the global lock is held.
bool StartIfReady(RunState& run) {
  const Configuration& config = run.configuration;
  if (run.started.load(std::memory_order_relaxed)) return false;
  if (config.GetCompanyID()[0] == 0 || config.GetApplicationID()[0] == 0) return false;
  if (config.IsOffline() && !config.IsSupportOfflineStorage()) return false;
  StartRuntime(run, nullptr, nullptr, nullptr);
  return true;
}

// First step of every event operation.
bool PassesGate(const RunState& run) {
  return run.started.load(std::memory_order_acquire) && run.optIn.load(std::memory_order_acquire);
}

void LogInvalidSession(const QZChar* source, const QZChar* session) {
  StringBuf message(QZ_TEXT("invalid session ID - "));
  message.Append(session);
  Platform::LogError(source, message);
}

// Resolves the session of an event that may fall back to the run's default
// session: the given ID, or the default session copied into fallback. Returns
// null (after logging) for a given ID that is not a GUID.
const QZChar* ResolveSession(const RunState& run, const QZChar* source, const QZChar* session,
                             SessionSnapshot::Text& fallback) {
  if (session != nullptr && session[0] != 0) {
    if (IsValidGUID(session)) return session;
    LogInvalidSession(source, session);
    return nullptr;
  }
  run.defaultSession.Load(fallback);
  return fallback;
}

// Builds a message under the lock and hands it to the queue (the lock is
// taken even when nothing is built). Whatever leaves the queue is destroyed
// after the lock is released, so other host threads never wait for a message
// being freed.
template <typename Build>
void BuildUnderLockAndQueue(RunState& run, Build build) {
  Message* leaving;
  {
    MutexLock guard(GlobalLock());
    leaving = QueueMessage(run, build());
  }
  delete leaving;
}

void QueueUnderLock(RunState& run, Message* message) {
  BuildUnderLockAndQueue(run, [message] { return message; });
}

// The rest of an event operation once its own checks passed: builds the
// message outside the lock when the session resolves, then queues it.
template <typename Build>
void BuildAndQueue(RunState& run, const QZChar* source, const QZChar* session, Build build) {
  SessionSnapshot::Text fallback;
  const QZChar* resolved = ResolveSession(run, source, session, fallback);
  QueueUnderLock(run, resolved != nullptr ? static_cast<Message*>(build(resolved)) : nullptr);
}

template <typename MessageType>
void ReportSession(const QZChar* source, const QZChar* session, const BinaryInfo* binaryInfo,
                   const ExtendedKeys* keys) {
  RunState& run = TheRun();
  if (!PassesGate(run)) return;
  if (session == nullptr || !IsValidGUID(session)) {
    LogInvalidSession(source, session);
    return;
  }
  // Built under the lock.
  BuildUnderLockAndQueue(run, [&] { return new MessageType(session, binaryInfo, keys); });
}

bool HasFeatureName(const QZChar* source, const QZChar* name) {
  if (name != nullptr && name[0] != 0) return true;
  Platform::LogError(source, QZ_TEXT("missing feature name"));
  return false;
}

enum class FeatureEvent { kStart, kStop };

void ReportFeatureEdge(FeatureEvent event, const QZChar* source, const QZChar* name,
                       const QZChar* session, const BinaryInfo* binaryInfo,
                       const ExtendedKeys* keys) {
  RunState& run = TheRun();
  if (!PassesGate(run)) return;
  if (!HasFeatureName(source, name)) return;
  SessionSnapshot::Text fallback;
  const QZChar* resolved = ResolveSession(run, source, session, fallback);
  // Built under the lock, which guards the correlator.
  BuildUnderLockAndQueue(run, [&]() -> Message* {
    if (resolved == nullptr || resolved[0] == 0 || run.featureCorrelator == nullptr) return nullptr;
    if (event == FeatureEvent::kStart) {
      return Feature::CreateStart(run.featureCorrelator, resolved, name, binaryInfo, keys);
    }
    return Feature::CreateStop(run.featureCorrelator, resolved, name, binaryInfo, keys);
  });
}

}  // namespace

bool API::ApplicationStart(const Configuration* config, const FlowController* flow,
                           const BinaryInfo* binaryInfo, const ExtendedKeys* keys) try {
  RunState& run = TheRun();
  Mutex* lock = GlobalLock();
  if (lock == nullptr) return false;  // no platform: nothing can run
  MutexLock guard(lock);
  if (run.started.load(std::memory_order_relaxed)) return true;
  if (config == nullptr) {
    Platform::LogError(kStartSource, QZ_TEXT("QZ not started: missing configuration"));
    return false;
  }
  if (config->GetCompanyID()[0] == 0) {
    Platform::LogError(kStartSource, QZ_TEXT("QZ not started: Company ID not specified"));
    return false;
  }
  if (config->GetApplicationID()[0] == 0) {
    Platform::LogError(kStartSource,
                       QZ_TEXT("Application not started: Application ID not specified"));
    return false;
  }
  run.configuration = config;
  run.optIn.store(run.configuration.IsOptIn(), std::memory_order_release);
  if (run.configuration.IsOffline() && !run.configuration.IsSupportOfflineStorage()) {
    Platform::LogInfo(kStartSource,
                      QZ_TEXT("QZ not started: Offline mode set and Offline Storage not supported"));
    return false;
  }
  if (run.configuration.IsOptIn()) StartRuntime(run, flow, binaryInfo, keys);
  return run.started.load(std::memory_order_relaxed);
} catch (...) {
  LogCaughtException(kStartSource);
  return false;
}

bool API::ApplicationStart(const Configuration* config, const BinaryInfo* binaryInfo,
                           const ExtendedKeys* keys) {
  return ApplicationStart(config, nullptr, binaryInfo, keys);
}

bool API::ApplicationStart(const Configuration* config, const ExtendedKeys* keys) {
  return ApplicationStart(config, nullptr, nullptr, keys);
}

bool API::ApplicationStart(const Configuration* config, const FlowController* flow,
                           const ExtendedKeys* keys) {
  return ApplicationStart(config, flow, nullptr, keys);
}

void API::ApplicationStop(const BinaryInfo* binaryInfo, const ExtendedKeys* keys) try {
  RunState& run = TheRun();
  Mutex* lock = GlobalLock();
  if (lock == nullptr) return;
  MutexLock guard(lock);
  if (run.started.load(std::memory_order_relaxed)) StopRuntime(run, binaryInfo, keys);
} catch (...) {
  LogCaughtException(QZ_TEXT("API::ApplicationStop"));
}

void API::ApplicationStop(const ExtendedKeys* keys) { ApplicationStop(nullptr, keys); }

bool API::IsApplicationStarted() try {
  Mutex* lock = GlobalLock();
  if (lock == nullptr) return false;
  MutexLock guard(lock);
  return TheRun().started.load(std::memory_order_relaxed);
} catch (...) {
  LogCaughtException(QZ_TEXT("API::IsApplicationStarted"));
  return false;
}

void API::SetOptIn(bool optIn) try {
  RunState& run = TheRun();
  Mutex* lock = GlobalLock();
  if (lock == nullptr) return;
  MutexLock guard(lock);
  const bool wasOptIn = run.configuration.IsOptIn();
  run.configuration.SetOptIn(optIn);
  run.optIn.store(optIn, std::memory_order_release);
  if (!run.started.load(std::memory_order_relaxed) && optIn && !wasOptIn) StartIfReady(run);
} catch (...) {
  LogCaughtException(QZ_TEXT("API::SetOptIn"));
}

void API::SetSendDisabled(bool disabled) try {
  RunState& run = TheRun();
  if (!run.started.load(std::memory_order_acquire)) return;
  MutexLock guard(GlobalLock());
  // The run may have stopped while this thread waited for the lock.
  if (!run.started.load(std::memory_order_relaxed)) return;
  if (disabled == run.configuration.IsSendDisabled()) return;
  run.configuration.SetSendDisabled(disabled);
  run.flowController.SetSendDisabled(disabled);
  if (run.messageQueue != nullptr) run.messageQueue->SetSendDisabled(disabled);
  if (run.offlineSender != nullptr) run.offlineSender->SetSendDisabled(disabled);
} catch (...) {
  LogCaughtException(QZ_TEXT("API::SetSendDisabled"));
}

void API::SendMessages() try {
  RunState& run = TheRun();
  if (!run.started.load(std::memory_order_acquire)) return;
  MutexLock guard(GlobalLock());
  if (run.messageQueue != nullptr) run.messageQueue->SendMessages();
  if (run.offlineSender != nullptr) run.offlineSender->SendNow();
} catch (...) {
  LogCaughtException(QZ_TEXT("API::SendMessages"));
}

// The lock costs little here and keeps a concurrent start or stop from
// changing the text's storage while it is read.
static const QZChar* RunIdentifier(const QZChar* (Configuration::*getter)() const) {
  RunState& run = TheRun();
  if (!run.started.load(std::memory_order_acquire)) return nullptr;
  MutexLock guard(GlobalLock());
  return run.started.load(std::memory_order_relaxed) ? (run.configuration.*getter)() : nullptr;
}

const QZChar* API::GetDefaultSession() try {
  return RunIdentifier(&Configuration::GetDefaultSession);
} catch (...) {
  LogCaughtException(QZ_TEXT("API::GetDefaultSession"));
  return nullptr;
}

const QZChar* API::GetMessageGroup() try {
  return RunIdentifier(&Configuration::GetMessageGroup);
} catch (...) {
  LogCaughtException(QZ_TEXT("API::GetMessageGroup"));
  return nullptr;
}

void API::SetLogLevel(int level) try {
  Platform::SetLogLevel(level);
} catch (...) {
  LogCaughtException(QZ_TEXT("API::SetLogLevel"));
}

void API::SessionStart(const QZChar* session, const BinaryInfo* binaryInfo,
                       const ExtendedKeys* keys) try {
  ReportSession<qz::SessionStart>(QZ_TEXT("API::SessionStart"), session, binaryInfo, keys);
} catch (...) {
  LogCaughtException(QZ_TEXT("API::SessionStart"));
}

void API::SessionStart(const QZChar* session, const ExtendedKeys* keys) {
  SessionStart(session, nullptr, keys);
}

void API::SessionStop(const QZChar* session, const BinaryInfo* binaryInfo,
                      const ExtendedKeys* keys) try {
  ReportSession<qz::SessionStop>(QZ_TEXT("API::SessionStop"), session, binaryInfo, keys);
} catch (...) {
  LogCaughtException(QZ_TEXT("API::SessionStop"));
}

void API::SessionStop(const QZChar* session, const ExtendedKeys* keys) {
  SessionStop(session, nullptr, keys);
}

void API::FeatureStart(const QZChar* name, const QZChar* session, const BinaryInfo* binaryInfo,
                       const ExtendedKeys* keys) try {
  ReportFeatureEdge(FeatureEvent::kStart, QZ_TEXT("API::FeatureStart"), name, session, binaryInfo,
                    keys);
} catch (...) {
  LogCaughtException(QZ_TEXT("API::FeatureStart"));
}

void API::FeatureStart(const QZChar* name, const BinaryInfo* binaryInfo,
                       const ExtendedKeys* keys) {
  FeatureStart(name, nullptr, binaryInfo, keys);
}

void API::FeatureStart(const QZChar* name, const ExtendedKeys* keys) {
  FeatureStart(name, nullptr, nullptr, keys);
}

void API::FeatureStop(const QZChar* name, const QZChar* session, const BinaryInfo* binaryInfo,
                      const ExtendedKeys* keys) try {
  ReportFeatureEdge(FeatureEvent::kStop, QZ_TEXT("API::FeatureStop"), name, session, binaryInfo,
                    keys);
} catch (...) {
  LogCaughtException(QZ_TEXT("API::FeatureStop"));
}

void API::FeatureStop(const QZChar* name, const BinaryInfo* binaryInfo, const ExtendedKeys* keys) {
  FeatureStop(name, nullptr, binaryInfo, keys);
}

void API::FeatureStop(const QZChar* name, const ExtendedKeys* keys) {
  FeatureStop(name, nullptr, nullptr, keys);
}

void API::FeatureTick(const QZChar* name, const QZChar* session, const BinaryInfo* binaryInfo,
                      const ExtendedKeys* keys) try {
  const QZChar source[] = QZ_TEXT("API::FeatureTick");
  RunState& run = TheRun();
  if (!PassesGate(run)) return;
  if (!HasFeatureName(source, name)) return;
  BuildAndQueue(run, source, session, [&](const QZChar* resolved) {
    return Feature::CreateTick(resolved, name, binaryInfo, keys);
  });
} catch (...) {
  LogCaughtException(QZ_TEXT("API::FeatureTick"));
}

void API::FeatureTick(const QZChar* name, const BinaryInfo* binaryInfo, const ExtendedKeys* keys) {
  FeatureTick(name, nullptr, binaryInfo, keys);
}

void API::FeatureTick(const QZChar* name, const ExtendedKeys* keys) {
  FeatureTick(name, nullptr, nullptr, keys);
}

void API::PerformanceProbe(const QZChar* name, const QZChar* session, const BinaryInfo* binaryInfo,
                           const ExtendedKeys* keys) try {
  const QZChar source[] = QZ_TEXT("API::PerformanceProbe");
  RunState& run = TheRun();
  if (!PassesGate(run)) return;
  // Measured before the lock, so a slow reading holds up only this caller.
  BuildAndQueue(run, source, session, [&](const QZChar* resolved) {
    return new qz::PerformanceProbe(name, resolved, binaryInfo, keys);
  });
} catch (...) {
  LogCaughtException(QZ_TEXT("API::PerformanceProbe"));
}

void API::PerformanceProbe(const QZChar* name, const BinaryInfo* binaryInfo,
                           const ExtendedKeys* keys) {
  PerformanceProbe(name, nullptr, binaryInfo, keys);
}

void API::PerformanceProbe(const QZChar* name, const ExtendedKeys* keys) {
  PerformanceProbe(name, nullptr, nullptr, keys);
}

void API::SystemProfile(const QZChar* session, const BinaryInfo* binaryInfo,
                        const ExtendedKeys* keys) try {
  const QZChar source[] = QZ_TEXT("API::SystemProfile");
  RunState& run = TheRun();
  if (!PassesGate(run)) return;
  // Collected outside the lock, so a slow reading holds up only this caller.
  BuildAndQueue(run, source, session, [&](const QZChar* resolved) {
    bool fullData = false;
    bool omitPersonalInfo = false;
    {
      // Only the flags are read under it: a start replaces the configuration.
      MutexLock guard(GlobalLock());
      fullData = run.configuration.IsFullData();
      omitPersonalInfo = run.configuration.IsOmitPersonalInfo();
    }
    return new qz::SystemProfile(resolved, binaryInfo, keys, fullData, omitPersonalInfo);
  });
} catch (...) {
  LogCaughtException(QZ_TEXT("API::SystemProfile"));
}

void API::SystemProfile(const BinaryInfo* binaryInfo, const ExtendedKeys* keys) {
  SystemProfile(nullptr, binaryInfo, keys);
}

void API::SystemProfile(const ExtendedKeys* keys) { SystemProfile(nullptr, nullptr, keys); }

void API::ReportException(const ExceptionInfo* info, const QZChar* session,
                          const BinaryInfo* binaryInfo, const ExtendedKeys* keys) try {
  const QZChar source[] = QZ_TEXT("API::ReportException");
  RunState& run = TheRun();
  if (!PassesGate(run)) return;
  if (info == nullptr) return;
  BuildAndQueue(run, source, session, [&](const QZChar* resolved) {
    return new Fault(info, resolved, binaryInfo, keys);
  });
} catch (...) {
  LogCaughtException(QZ_TEXT("API::ReportException"));
}

void API::ReportException(const ExceptionInfo& info, const QZChar* session,
                          const BinaryInfo* binaryInfo, const ExtendedKeys* keys) {
  ReportException(&info, session, binaryInfo, keys);
}

void API::ReportException(const ExceptionInfo* info, const BinaryInfo* binaryInfo,
                          const ExtendedKeys* keys) {
  ReportException(info, nullptr, binaryInfo, keys);
}

void API::ReportException(const ExceptionInfo& info, const BinaryInfo* binaryInfo,
                          const ExtendedKeys* keys) {
  ReportException(&info, nullptr, binaryInfo, keys);
}

void API::ReportException(const ExceptionInfo* info, const ExtendedKeys* keys) {
  ReportException(info, nullptr, nullptr, keys);
}

void API::ReportException(const ExceptionInfo& info, const ExtendedKeys* keys) {
  ReportException(&info, nullptr, nullptr, keys);
}

}  // namespace qz
