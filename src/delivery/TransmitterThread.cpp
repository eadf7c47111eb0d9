#include "delivery/TransmitterThread.h"

#include <algorithm>
#include <new>

#include "delivery/IThread.h"
#include "delivery/MessageQueue.h"
#include "delivery/Mutex.h"
#include "delivery/XMLTransmitter.h"
#include "messages/Message.h"
#include "messages/MessagesTag.h"
#include "offline/OfflineData.h"
#include "platform/CaughtException.h"
#include "platform/Platform.h"
#include "qz/Configuration.h"
#include "qz/FlowController.h"

namespace qz {
namespace {

const QZChar kProcessSource[] = QZ_TEXT("TransmitterThread::ProcessQueue");
const QZChar kStoreSource[] = QZ_TEXT("TransmitterThread::StoreOffline");
constexpr uint64_t kStoreNameAttempts = 8;

// Information only: when memory is short it is skipped rather than ending the pass.
void LogCount(const QZChar* source, const QZChar* prefix, uint64_t count, const QZChar* suffix) {
  try {
    StringBuf text(prefix);
    text.Append(count, 10);
    text.Append(suffix);
    Platform::LogInfo(source, text);
  } catch (const std::bad_alloc&) {
  }
}

// Whatever becomes of a pass, the messages it took end with it.
class TakenMessages {
 public:
  ~TakenMessages() {
    for (Message* message : list) delete message;
  }
  MessageList list;
};

}  // namespace

TransmitterThread::TransmitterThread(const Configuration* configuration,
                                     FlowController* flowController, MessageQueue* queue)
    : queue(queue), flowController(flowController) {
  try {
    Make(configuration);
  } catch (...) {
    Release();
    throw;
  }
}

void TransmitterThread::Make(const Configuration* configuration) {
  envelope = new MessagesTag(configuration);
  stateLock = Platform::NewMutex();
  processLock = Platform::NewMutex();
  if (configuration != nullptr) {
    transmitter = Platform::NewXMLTransmitter(const_cast<Configuration*>(configuration));
  }
  PlatformInfo info;
  Platform::GetPlatformInfo(info);
  platformText.Append(info.name).Append(QZ_TEXT('/')).Append(info.version);
  if (configuration != nullptr) {
    companyId = configuration->GetCompanyID();
    applicationId = configuration->GetApplicationID();
    messageGroup = configuration->GetMessageGroup();
  }
  if (configuration != nullptr && flowController->IsSupportOfflineStorage()) {
    offlineData = Platform::NewOfflineData();
    if (offlineData != nullptr) {
      offlineData->SetApplicationID(configuration->GetApplicationID());
      offlineData->SetApplicationName(configuration->GetApplicationName());
      offlineData->SetApplicationVersion(configuration->GetApplicationVersion());
      offlineData->SetApplicationType(configuration->GetApplicationType());
      offlineData->SetApplicationInstanceID(configuration->GetApplicationInstanceID());
      offlineData->SetCompanyID(configuration->GetCompanyID());
      offlineData->SetCompanyName(configuration->GetCompanyName());
      offlineData->SetMessageGroup(configuration->GetMessageGroup());
      offlineData->SetStorageLimit(configuration->GetOfflineStorageLimit());
    }
  }
  // A factory gives null only when it failed (and said so): without all of
  // these the transmitter could not work, or not safely.
  if (stateLock == nullptr || processLock == nullptr ||
      (configuration != nullptr && transmitter == nullptr) ||
      (configuration != nullptr && flowController->IsSupportOfflineStorage() && offlineData == nullptr)) {
    throw std::bad_alloc();
  }
  // Everything Run touches exists before the thread does, and nothing can
  // fail after it (a Windows thread made and never started takes its whole
  // stop timeout to go).
  thread = Platform::NewThread(this);
  if (thread == nullptr) throw std::bad_alloc();
  if (configuration != nullptr) {
    thread->SetStopTimeout(IThread::StopTimeoutAfter(configuration->GetEndpointTimeout()));
  }
}

TransmitterThread::~TransmitterThread() {
  Stop();
  Release();
}

void TransmitterThread::Release() {
  delete thread;
  thread = nullptr;
  delete offlineData;
  offlineData = nullptr;
  delete transmitter;
  transmitter = nullptr;
  delete processLock;
  processLock = nullptr;
  delete stateLock;
  stateLock = nullptr;
  delete envelope;
  envelope = nullptr;
}

void TransmitterThread::Start() {
  MutexLock guard(stateLock);
  if (!running.load() && thread != nullptr) {
    // Run tests the flag first, so it must be set before the thread starts.
    running.store(true);
    thread->Start();
  }
}

bool TransmitterThread::Stop() {
  bool ended = true;
  {
    MutexLock guard(stateLock);
    if (running.load() && thread != nullptr) {
      running.store(false);
      // Where a thread cannot be killed, the last pass must give up on a
      // silent server in time for the thread to end within its stop timeout.
      const uint32_t timeout = thread->GetStopTimeout();
      if (transmitter != nullptr) transmitter->AbortAfter(timeout > 2000 ? timeout - 1000 : timeout / 2);
      thread->Stop();
      ended = thread->HasEnded();
    }
  }
  if (!ended) {
    // The thread outlived its stop timeout and cannot be killed here. Cut its
    // post short and detach it from the queue, which is about to go away.
    if (transmitter != nullptr) transmitter->Abort();
    MutexLock guard(processLock);
    queue = nullptr;
  }
  return ended;
}

void TransmitterThread::Wake() {
  MutexLock guard(stateLock);
  if (running.load() && thread != nullptr) thread->Wake();
}

void TransmitterThread::SendNow() {
  MutexLock guard(processLock);
  if (running.load()) {
    sendNowRequested.store(true);
    if (thread != nullptr) thread->Wake();
  }
}

uint32_t TransmitterThread::GetStopTimeout() const {
  return thread != nullptr ? thread->GetStopTimeout() : 0;
}

void TransmitterThread::Run() {
  interval = flowController->GetInterval(0);
  while (running.load()) {
    LogCount(QZ_TEXT("TransmitterThread::Run"), QZ_TEXT("Sleep("), interval, QZ_TEXT(")"));
    thread->Sleep(interval);
    if (running.load() && !sendNowRequested.load() && flowController->IsSendDisabled()) {
      interval = flowController->GetInterval(0);
    } else {
      ProcessQueue();
    }
  }
  if (!flowController->IsSendDisabled()) ProcessQueue();
}

// A pass that fails (memory ran out) loses its batch, not the thread.
void TransmitterThread::ProcessQueue() try {
  MutexLock guard(processLock);
  TakenMessages owned;
  MessageList& messages = owned.list;
  if (queue != nullptr) queue->TakeAll(messages);
  const size_t taken = messages.size();
  if (taken > 0) {
    LogCount(kProcessSource, QZ_TEXT("Processing "), taken, QZ_TEXT(" messages"));
    const size_t drop = std::min(flowController->MessagesToDrop(taken), taken);
    if (drop > 0) {
      LogCount(kProcessSource, QZ_TEXT("Dropping "), drop, QZ_TEXT(" messages"));
      for (size_t i = 0; i < drop; ++i) delete messages[i];
      messages.erase(messages.begin(), messages.begin() + static_cast<std::ptrdiff_t>(drop));
    }
    const uint64_t count = messages.size();
    if (count > 0) {
      // Room for the whole batch up front, so that writing it does not
      // reallocate (and copy) the text every few hundred characters.
      uint64_t room = 1024;  // the envelope
      for (const Message* message : messages) {
        if (message != nullptr) room += message->WrittenLengthHint();
      }
      // (The capacity constructor stops at 16384 characters; a batch is
      // often longer.)
      StringBuf text;
      text.Reserve(room);
      bool store = flowController->IsSupportOfflineStorage();
      if (flowController->OKToTransmit() && !serverPause.IsActive()) {
        envelope->WriteBatch(text, messages);
        const bool ok = transmitter != nullptr &&
                        transmitter->Post(platformText, companyId, applicationId, messageGroup, text);
        // A collector that asks for a pause is pacing us, not failing.
        if (ok || transmitter == nullptr || !serverPause.Begin(*transmitter, *flowController)) {
          flowController->OnSend(ok);
        }
        store = store && !ok;
        if (store) text.Clear();
      }
      if (store) {
        for (Message* message : messages) {
          if (message != nullptr) message->Write(text);
        }
        StoreOffline(count, text);
      }
    }
  }
  interval = flowController->GetInterval(taken);
  sendNowRequested.store(false);
} catch (...) {
  LogCaughtException(kProcessSource);
}

bool TransmitterThread::StoreOffline(uint64_t count, const StringBuf& text) {
  if (offlineData == nullptr) {
    // Storage was wanted, but no store could be made: the batch cannot be kept.
    LogCount(kStoreSource, QZ_TEXT("No offline storage; discarded "), count, QZ_TEXT(" messages"));
    return false;
  }
  const uint64_t now = Platform::GetTimeMillis();
  StringBuf finalName;
  StringBuf tempName;
  if (!offlineData->CreateFileName(finalName, now) || !offlineData->CreateTempFileName(tempName)) {
    Platform::LogInfo(kStoreSource, QZ_TEXT("Failed to create file names"));
    return false;
  }
  if (!offlineData->Write(tempName, now, count, text)) {
    StringBuf message(QZ_TEXT("Write("));
    message.Append(tempName).Append(QZ_TEXT(") failed"));
    Platform::LogError(kStoreSource, message);
    return false;
  }
  // Under a storage limit older batches make room, and no other store or
  // claim comes between that and this batch's naming.
  OfflineData::Room room(*offlineData, count);
  if (!room.Fits()) {
    offlineData->Delete(tempName);
    return false;
  }
  // Another instance of this application may have stored a batch in the same
  // millisecond; the name of a later millisecond keeps the order as well.
  for (uint64_t later = 1; !offlineData->Rename(tempName, finalName); ++later) {
    if (later == kStoreNameAttempts || !offlineData->CreateFileName(finalName, now + later)) {
      StringBuf message(QZ_TEXT("Rename("));
      message.Append(tempName).Append(QZ_TEXT(", ")).Append(finalName).Append(QZ_TEXT(") failed"));
      Platform::LogError(kStoreSource, message);
      offlineData->Delete(tempName);
      return false;
    }
  }
  Platform::LogInfo(kStoreSource, finalName);
  return true;
}

}  // namespace qz
