// The second background worker: sends stored batches, oldest first, one per
// pass, paced by its own copy of the flow controller, so failures of stored
// sends pause only this thread.
#ifndef QZ_OFFLINE_OFFLINESTORAGESENDERTHREAD_H
#define QZ_OFFLINE_OFFLINESTORAGESENDERTHREAD_H

#include <atomic>
#include <cstdint>

#include "delivery/IRunnable.h"
#include "delivery/ServerPause.h"
#include "qz/FlowController.h"

namespace qz {

class Configuration;
class IThread;
class Mutex;
class OfflineData;
class XMLTransmitter;

class OfflineStorageSenderThread : public IRunnable {
 public:
  // Copies what it needs from both; the thread is created suspended.
  OfflineStorageSenderThread(const Configuration* configuration,
                             const FlowController* flowController);
  ~OfflineStorageSenderThread() override;
  OfflineStorageSenderThread(const OfflineStorageSenderThread&) = delete;
  OfflineStorageSenderThread& operator=(const OfflineStorageSenderThread&) = delete;

  // The first pass runs at once.
  void Start();
  // Ends the thread, cutting a post in flight short near the stop timeout.
  // False when the thread could not be ended (it may still run): the caller
  // must then keep this object alive.
  bool Stop();
  // One pass tries a stored batch at once, even while sending is disabled
  // or paused after failures.
  void SendNow();
  // Re-enabling wakes the thread.
  void SetSendDisabled(bool disabled);
  // The thread's stop timeout; 0 without a thread.
  uint32_t GetStopTimeout() const;

  void Run() override;

 private:
  // The constructor's work; Release undoes what it made.
  void Make(const Configuration* configuration, const FlowController* flow);
  void Release();
  // Number of messages sent.
  uint64_t SendOne();

  // Cleared by Stop, or by the thread itself when nothing is left to send
  // and nothing new can be stored; atomic, so the thread never waits for
  // stateLock, which Stop holds while it waits for the thread.
  std::atomic<bool> running{false};
  std::atomic<bool> sendNowRequested{false};
  Mutex* stateLock = nullptr;
  XMLTransmitter* transmitter = nullptr;
  OfflineData* offlineData = nullptr;
  FlowController flowController;
  ServerPause serverPause;  // the thread's own
  IThread* thread = nullptr;
};

}  // namespace qz

#endif  // QZ_OFFLINE_OFFLINESTORAGESENDERTHREAD_H
