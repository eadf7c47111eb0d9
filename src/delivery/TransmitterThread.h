// The background worker that empties the message queue: sleeps for the
// adaptive interval, takes every queued message and posts them as one batch,
// or stores them offline when sending is not allowed or fails.
#ifndef QZ_DELIVERY_TRANSMITTERTHREAD_H
#define QZ_DELIVERY_TRANSMITTERTHREAD_H

#include <atomic>
#include <cstdint>

#include "delivery/IRunnable.h"
#include "delivery/ServerPause.h"
#include "qz/StringBuf.h"

namespace qz {

class Configuration;
class FlowController;
class IThread;
class MessageQueue;
class MessagesTag;
class Mutex;
class OfflineData;
class XMLTransmitter;

class TransmitterThread : public IRunnable {
 public:
  // The thread is created suspended; Start lets it run.
  TransmitterThread(const Configuration* configuration, FlowController* flowController,
                    MessageQueue* queue);
  ~TransmitterThread() override;
  TransmitterThread(const TransmitterThread&) = delete;
  TransmitterThread& operator=(const TransmitterThread&) = delete;

  void Start();
  // Ends the thread after its last pass. Returns false when the thread could
  // not be ended (it may still run): the caller must then leave this object
  // alive. Either way the queue is no longer touched once this returns.
  bool Stop();
  void Wake();
  // Marks an immediate send and wakes the thread, even when sending is disabled;
  // waits for a pass in progress.
  void SendNow();
  // The thread's stop timeout; 0 without a thread.
  uint32_t GetStopTimeout() const;

  void Run() override;

 private:
  // The constructor's work; Release undoes what it made.
  void Make(const Configuration* configuration);
  void Release();
  void ProcessQueue();
  bool StoreOffline(uint64_t count, const StringBuf& text);

  std::atomic<bool> running{false};
  uint32_t interval = 0;
  Mutex* processLock = nullptr;
  Mutex* stateLock = nullptr;
  MessageQueue* queue;  // guarded by processLock once the thread runs
  FlowController* flowController;
  MessagesTag* envelope = nullptr;
  XMLTransmitter* transmitter = nullptr;
  OfflineData* offlineData = nullptr;
  std::atomic<bool> sendNowRequested{false};
  ServerPause serverPause;  // guarded by processLock
  StringBuf platformText;
  StringBuf companyId;
  StringBuf applicationId;
  StringBuf messageGroup;
  IThread* thread = nullptr;
};

}  // namespace qz

#endif  // QZ_DELIVERY_TRANSMITTERTHREAD_H
