// The one process-wide run behind the API.
#ifndef QZ_API_RUNSTATE_H
#define QZ_API_RUNSTATE_H

#include <atomic>

#include "api/SessionSnapshot.h"
#include "qz/Configuration.h"
#include "qz/FlowController.h"

namespace qz {

class Mutex;
class Message;
class MessageQueue;
class FeatureCorrelator;
class OfflineStorageSenderThread;
class HostTag;
class UserTag;

struct RunState {
  // Written under the global lock; read without it by the event gate.
  std::atomic<bool> started{false};
  // Mirrors configuration's opt-in flag for the lock-free gate.
  std::atomic<bool> optIn{false};
  bool externalIDs = false;
  Configuration configuration;
  // The configuration's default session while a run is started (empty
  // otherwise), for event operations that resolve a session without the lock.
  SessionSnapshot defaultSession;
  FlowController flowController;
  FeatureCorrelator* featureCorrelator = nullptr;
  MessageQueue* messageQueue = nullptr;
  OfflineStorageSenderThread* offlineSender = nullptr;
  HostTag* hostTag = nullptr;
  UserTag* userTag = nullptr;
};

// The run; exists for the life of the loaded library.
RunState& TheRun();
// Unload step: frees the run's state unless a run is still started.
void DestroyRun();

// The run's global lock; null when the library has no platform.
Mutex* GlobalLock();
// Load step: makes the lock through the platform if it does not exist yet.
void CreateGlobalLock();
// Unload step.
void DestroyGlobalLock();

}  // namespace qz

#endif  // QZ_API_RUNSTATE_H
