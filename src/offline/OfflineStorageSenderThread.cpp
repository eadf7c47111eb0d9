#include "offline/OfflineStorageSenderThread.h"

#include <new>

#include "delivery/IThread.h"
#include "delivery/Mutex.h"
#include "delivery/XMLTransmitter.h"
#include "offline/OfflineData.h"
#include "platform/CaughtException.h"
#include "platform/Platform.h"
#include "qz/Configuration.h"

namespace qz {
namespace {

// Information only: when memory is short it is skipped rather than ending the pass.
void LogSleep(uint32_t interval) {
  try {
    StringBuf message(QZ_TEXT("Sleep("));
    message.Append(interval, 10).Append(QZ_TEXT(")"));
    Platform::LogInfo(QZ_TEXT("OfflineStorageManager:Run"), message);
  } catch (const std::bad_alloc&) {
  }
}

}  // namespace

OfflineStorageSenderThread::OfflineStorageSenderThread(const Configuration* configuration,
                                                       const FlowController* flow) {
  try {
    Make(configuration, flow);
  } catch (...) {
    Release();
    throw;
  }
}

void OfflineStorageSenderThread::Make(const Configuration* configuration,
                                      const FlowController* flow) {
  if (configuration != nullptr) {
    transmitter = Platform::NewXMLTransmitter(const_cast<Configuration*>(configuration));
  }
  offlineData = Platform::NewOfflineData();
  if (offlineData != nullptr && configuration != nullptr) {
    // Every other field comes from each record read.
    offlineData->SetCompanyID(configuration->GetCompanyID());
    offlineData->SetApplicationID(configuration->GetApplicationID());
  }
  flowController = flow;
  stateLock = Platform::NewMutex();
  // A factory gives null only when it failed (and said so).
  if (stateLock == nullptr || offlineData == nullptr ||
      (configuration != nullptr && transmitter == nullptr)) {
    throw std::bad_alloc();
  }
  // Everything Run touches exists before the thread does, and nothing can
  // fail after it.
  thread = Platform::NewThread(this);
  if (thread == nullptr) throw std::bad_alloc();
  if (configuration != nullptr) {
    thread->SetStopTimeout(IThread::StopTimeoutAfter(configuration->GetEndpointTimeout()));
  }
}

OfflineStorageSenderThread::~OfflineStorageSenderThread() {
  Stop();
  Release();
}

void OfflineStorageSenderThread::Release() {
  // Joins a thread that ended by itself.
  delete thread;
  thread = nullptr;
  delete stateLock;
  stateLock = nullptr;
  delete offlineData;
  offlineData = nullptr;
  delete transmitter;
  transmitter = nullptr;
}

void OfflineStorageSenderThread::Start() {
  MutexLock guard(stateLock);
  if (!running.load() && thread != nullptr) {
    // Run tests the flag first, so it must be set before the thread starts.
    running.store(true);
    thread->Start();
  }
}

bool OfflineStorageSenderThread::Stop() {
  MutexLock guard(stateLock);
  if (!running.exchange(false) || thread == nullptr) return true;
  // Where a thread cannot be killed, a post to a silent server must give up
  // in time for the thread to end within its stop timeout.
  const uint32_t timeout = thread->GetStopTimeout();
  if (transmitter != nullptr) transmitter->AbortAfter(timeout > 2000 ? timeout - 1000 : timeout / 2);
  thread->Stop();
  if (thread->HasEnded()) return true;
  if (transmitter != nullptr) transmitter->Abort();
  return false;
}

void OfflineStorageSenderThread::SendNow() {
  MutexLock guard(stateLock);
  if (running.load() && thread != nullptr) {
    sendNowRequested.store(true);
    thread->Wake();
  }
}

void OfflineStorageSenderThread::SetSendDisabled(bool disabled) {
  MutexLock guard(stateLock);
  if (running.load() && thread != nullptr) {
    flowController.SetSendDisabled(disabled);
    if (!disabled) thread->Wake();
  }
}

uint32_t OfflineStorageSenderThread::GetStopTimeout() const {
  return thread != nullptr ? thread->GetStopTimeout() : 0;
}

void OfflineStorageSenderThread::Run() {
  bool first = true;
  uint32_t interval = flowController.GetInterval(0);
  while (running.load()) {
    if (first) {
      first = false;
    } else {
      LogSleep(interval);
      thread->Sleep(interval);
    }
    uint64_t sent = 0;
    if (running.load()) {
      if (sendNowRequested.exchange(false) ||
          (flowController.OKToTransmit() && !serverPause.IsActive())) {
        sent = SendOne();
      }
    }
    interval = flowController.GetInterval(static_cast<size_t>(sent));
  }
}

// A pass that fails (memory ran out) sends nothing, and the next one tries again.
uint64_t OfflineStorageSenderThread::SendOne() try {
  if (offlineData == nullptr || transmitter == nullptr) return 0;
  transmitter->ForgetLastAnswer();
  switch (offlineData->SendNext(*transmitter)) {
    case OfflineData::kBatchFailed:
      // A collector that asks for a pause is pacing us, not failing.
      if (!serverPause.Begin(*transmitter, flowController)) flowController.OnSend(false);
      return 0;
    case OfflineData::kNothingStored:
      // Nothing left, and nothing of this run will be stored: done.
      if (!flowController.IsSupportOfflineStorage()) running.store(false);
      return 0;
    case OfflineData::kSent:
      flowController.OnSend(true);
      return offlineData->GetMessageCount();
    case OfflineData::kRefused:
      // The endpoint answered; only that batch was unwanted, and it has moved
      // out of the way: no failure to count.
    default:
      // Another sender holds the lock, or no folder: the next pass tries again.
      return 0;
  }
} catch (...) {
  LogCaughtException(QZ_TEXT("OfflineStorageSenderThread::SendOne"));
  return 0;
}

}  // namespace qz
