#include "delivery/MessageQueue.h"

#include <algorithm>
#include <new>

#include "delivery/Abandoned.h"
#include "delivery/Mutex.h"
#include "delivery/TransmitterThread.h"
#include "messages/Message.h"
#include "platform/CaughtException.h"
#include "platform/Platform.h"
#include "qz/FlowController.h"

namespace qz {
namespace {

// Room for a full queue up front, so that Add rarely allocates; a huge queue
// size from the host must not become a huge allocation.
size_t ReservedFor(const FlowController* flowController) {
  return std::min<size_t>(flowController->GetQueueSize(), 1024) + 1;
}

}  // namespace

MessageQueue::MessageQueue(const Configuration* configuration, FlowController* flowController)
    : queueLock(Platform::NewMutex()),
      transmitter(nullptr),
      flowController(flowController),
      stopped(false) {
  try {
    // Without its lock the queue could not be shared safely.
    if (queueLock == nullptr) throw std::bad_alloc();
    messages.reserve(ReservedFor(flowController));
    transmitter = new TransmitterThread(configuration, flowController, this);
  } catch (...) {
    delete queueLock;
    throw;
  }
}

MessageQueue::~MessageQueue() {
  Stop();
  delete queueLock;
  for (Message* message : messages) delete message;
}

void MessageQueue::Start() {
  MutexLock guard(queueLock);
  if (!stopped && transmitter != nullptr) transmitter->Start();
}

Message* MessageQueue::Add(Message* message) {
  MutexLock guard(queueLock);
  // Only a caller that raced the stop gets here; the message has no home.
  if (stopped) return message;
  try {
    messages.push_back(message);
  } catch (...) {
    // Memory ran out: this message is lost, the queue goes on.
    LogCaughtException(QZ_TEXT("MessageQueue::Add"));
    return message;
  }
  const size_t count = messages.size();
  Message* dropped = nullptr;
  if (flowController->MessagesToDrop(count) != 0) {
    Platform::LogInfo(QZ_TEXT("MessageQueue"), QZ_TEXT("Queue overflow; message dropped"));
    dropped = messages.front();
    messages.erase(messages.begin());
  } else if (count != flowController->GetHighWater()) {
    return nullptr;
  }
  if (!flowController->IsSendDisabled() && transmitter != nullptr) transmitter->Wake();
  return dropped;
}

void MessageQueue::TakeAll(std::vector<Message*>& out) {
  MutexLock guard(queueLock);
  if (messages.empty()) return;
  out.clear();
  out.swap(messages);
  messages.reserve(ReservedFor(flowController));
}

void MessageQueue::SendMessages() {
  bool send;
  {
    MutexLock guard(queueLock);
    send = !stopped && transmitter != nullptr;
  }
  // SendNow waits for a pass in progress, and a pass takes queueLock: call it
  // without holding the lock. Stop cannot interleave, since both run under the
  // run's global lock.
  if (send) transmitter->SendNow();
}

void MessageQueue::SetSendDisabled(bool disabled) {
  MutexLock guard(queueLock);
  if (stopped || disabled || transmitter == nullptr) return;
  if (messages.size() >= flowController->GetHighWater()) transmitter->Wake();
}

void MessageQueue::Stop() {
  bool stopTransmitter;
  {
    MutexLock guard(queueLock);
    stopTransmitter = !stopped && transmitter != nullptr;
    stopped = true;
  }
  // The transmitter's last pass takes the queue's messages, so the lock must be free.
  if (stopTransmitter) {
    if (transmitter->Stop()) {
      delete transmitter;
    } else {
      Platform::LogError(QZ_TEXT("MessageQueue::Stop"), QZ_TEXT("Transmitter thread abandoned"));
      KeepAbandoned(transmitter);
    }
    transmitter = nullptr;
  }
}

}  // namespace qz
