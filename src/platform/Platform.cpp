#include "platform/Platform.h"

#include <atomic>
#include <cstdio>

#include "platform/TestHooks.h"

namespace qz {
namespace {

std::atomic<Platform*> g_singleton{nullptr};
std::atomic<testhooks::LogSink*> g_logSink{nullptr};
std::atomic<testhooks::ClockFunction> g_clockOverride{nullptr};
std::atomic<testhooks::StorageFolderFunction> g_storageFolderOverride{nullptr};

void Capture(int32_t level, const QZChar* source, const QZChar* message) {
  testhooks::LogSink* sink = g_logSink.load(std::memory_order_acquire);
  if (sink != nullptr) sink->Write(level, source, message);
}

// The log is where failures go, so it must never become one: whatever the
// back end throws (out of memory, say) ends here.
template <typename Write>
void Deliver(int32_t level, const QZChar* source, const QZChar* message, Write write) noexcept {
  try {
    Capture(level, source, message);
    write();
  } catch (...) {
  }
}

}  // namespace

namespace testhooks {
LogSink* SetLogSink(LogSink* sink) { return g_logSink.exchange(sink, std::memory_order_acq_rel); }
LogSink* GetLogSink() { return g_logSink.load(std::memory_order_acquire); }
ClockFunction SetClockOverride(ClockFunction clock) {
  return g_clockOverride.exchange(clock, std::memory_order_acq_rel);
}
StorageFolderFunction SetStorageFolderOverride(StorageFolderFunction folders) {
  return g_storageFolderOverride.exchange(folders, std::memory_order_acq_rel);
}
StorageFolderFunction GetStorageFolderOverride() {
  return g_storageFolderOverride.load(std::memory_order_acquire);
}
}  // namespace testhooks

Platform::Platform() : logLevel(LOG_ERROR) {
  Platform* expected = nullptr;
  g_singleton.compare_exchange_strong(expected, this, std::memory_order_acq_rel);
}

Platform::~Platform() {
  Platform* expected = this;
  g_singleton.compare_exchange_strong(expected, nullptr, std::memory_order_acq_rel);
}

Platform* Platform::Instance() { return g_singleton.load(std::memory_order_acquire); }

Mutex* Platform::NewMutex() {
  Platform* p = Instance();
  return p != nullptr ? p->DoNewMutex() : nullptr;
}

ThreadID* Platform::NewThreadID() {
  Platform* p = Instance();
  return p != nullptr ? p->DoNewThreadID() : nullptr;
}

IThread* Platform::NewThread(IRunnable* runnable) {
  Platform* p = Instance();
  return p != nullptr ? p->DoNewThread(runnable) : nullptr;
}

XMLTransmitter* Platform::NewXMLTransmitter(Configuration* configuration) {
  Platform* p = Instance();
  return p != nullptr ? p->DoNewXMLTransmitter(configuration) : nullptr;
}

OfflineData* Platform::NewOfflineData() {
  Platform* p = Instance();
  return p != nullptr ? p->DoNewOfflineData() : nullptr;
}

void Platform::ApplyDefaultEndpoint(Configuration* configuration) {
  Platform* p = Instance();
  if (p != nullptr) p->DoApplyDefaultEndpoint(configuration);
}

void Platform::GetPlatformInfo(PlatformInfo& info) {
  Platform* p = Instance();
  if (p != nullptr) p->DoGetPlatformInfo(info);
}

uint64_t Platform::GetTimeMillis() {
  testhooks::ClockFunction clock = g_clockOverride.load(std::memory_order_acquire);
  if (clock != nullptr) return clock();
  Platform* p = Instance();
  return p != nullptr ? p->DoGetTimeMillis() : 0;
}

void Platform::FormatTime(uint64_t milliseconds, StringBuf& out) {
  Platform* p = Instance();
  if (p != nullptr) p->DoFormatTime(milliseconds, out);
}

void Platform::GetTimeString(StringBuf& out) {
  Platform* p = Instance();
  if (p != nullptr) p->DoGetTimeString(out);
}

void Platform::NewGUID(StringBuf& out) {
  Platform* p = Instance();
  if (p != nullptr) p->DoNewGUID(out);
}

void Platform::GetOsInfo(OsInfo& info, bool fullData) {
  Platform* p = Instance();
  if (p != nullptr) p->DoGetOsInfo(info, fullData);
}

void Platform::GetVideoInfo(VideoInfo& info, bool fullData) {
  Platform* p = Instance();
  if (p != nullptr) p->DoGetVideoInfo(info, fullData);
}

void Platform::GetUserInfo(UserInfo& info, bool fullData, bool omitPersonalInfo) {
  Platform* p = Instance();
  if (p != nullptr) p->DoGetUserInfo(info, fullData, omitPersonalInfo);
}

void Platform::GetTimeZoneInfo(TimeZoneInfo& info, bool fullData) {
  Platform* p = Instance();
  if (p != nullptr) p->DoGetTimeZoneInfo(info, fullData);
}

void Platform::GetPowerState(StringBuf& out, bool fullData) {
  Platform* p = Instance();
  if (p != nullptr) p->DoGetPowerState(out, fullData);
}

void Platform::GetSystemModel(SystemModelInfo& info, bool fullData) {
  Platform* p = Instance();
  if (p != nullptr) p->DoGetSystemModel(info, fullData);
}

void Platform::GetScreenInfo(ScreenInfo& info, bool fullData) {
  Platform* p = Instance();
  if (p != nullptr) p->DoGetScreenInfo(info, fullData);
}

void Platform::GetNetworkAdapters(FactList<NetworkAdapterInfo>& list, bool fullData,
                                  bool omitPersonalInfo) {
  Platform* p = Instance();
  if (p != nullptr) p->DoGetNetworkAdapters(list, fullData, omitPersonalInfo);
}

void Platform::GetMemoryUse(MemoryUseInfo& info) {
  Platform* p = Instance();
  if (p != nullptr) p->DoGetMemoryUse(info);
}

void Platform::GetMemoryInfo(MemoryInfo& info, bool fullData) {
  Platform* p = Instance();
  if (p != nullptr) p->DoGetMemoryInfo(info, fullData);
}

void Platform::GetHostInfo(HostInfo& info, bool omitPersonalInfo) {
  Platform* p = Instance();
  if (p != nullptr) p->DoGetHostInfo(info, omitPersonalInfo);
}

void Platform::GetDomainInfo(DomainInfo& info, bool fullData, bool omitPersonalInfo) {
  Platform* p = Instance();
  if (p != nullptr) p->DoGetDomainInfo(info, fullData, omitPersonalInfo);
}

void Platform::GetDisks(FactList<DiskInfo>& list, bool fullData) {
  Platform* p = Instance();
  if (p != nullptr) p->DoGetDisks(list, fullData);
}

uint32_t Platform::GetCpuLoad() {
  Platform* p = Instance();
  return p != nullptr ? p->DoGetCpuLoad() : 0;
}

void Platform::GetProcessors(FactList<CpuInfo>& list, bool fullData) {
  Platform* p = Instance();
  if (p != nullptr) p->DoGetProcessors(list, fullData);
}

void Platform::GetTerminalServicesInfo(TerminalServicesInfo& info, bool fullData) {
  Platform* p = Instance();
  if (p != nullptr) p->DoGetTerminalServicesInfo(info, fullData);
}

void Platform::GetSoundDevice(DeviceInfo& info, bool fullData) {
  Platform* p = Instance();
  if (p != nullptr) p->DoGetSoundDevice(info, fullData);
}

void Platform::GetModem(DeviceInfo& info, bool fullData) {
  Platform* p = Instance();
  if (p != nullptr) p->DoGetModem(info, fullData);
}

void Platform::GetPageFiles(FactList<PageFileInfo>& list, bool fullData) {
  Platform* p = Instance();
  if (p != nullptr) p->DoGetPageFiles(list, fullData);
}

void Platform::LogInfo(const QZChar* source, const QZChar* message) {
  Platform* p = Instance();
  if (p == nullptr || p->logLevel.load(std::memory_order_relaxed) >= 101) return;
  Deliver(LOG_INFO, source, message, [&] { p->DoLogInfo(source, message); });
}

void Platform::LogWarn(const QZChar* source, const QZChar* message) {
  Platform* p = Instance();
  if (p == nullptr || p->logLevel.load(std::memory_order_relaxed) >= 201) return;
  Deliver(LOG_WARN, source, message, [&] { p->DoLogWarn(source, message); });
}

void Platform::LogError(const QZChar* source, const QZChar* message) {
  Platform* p = Instance();
  if (p == nullptr || p->logLevel.load(std::memory_order_relaxed) >= 301) return;
  Deliver(LOG_ERROR, source, message, [&] { p->DoLogError(source, message); });
}

void Platform::SetLogLevel(int32_t level) {
  Platform* p = Instance();
  if (p == nullptr) return;
  if (level < LOG_INFO) level = LOG_INFO;
  if (level > LOG_ERROR) level = LOG_ERROR;
  p->logLevel.store(level, std::memory_order_relaxed);
}

int32_t Platform::GetLogLevel() {
  Platform* p = Instance();
  return p != nullptr ? p->logLevel.load(std::memory_order_relaxed) : 0;
}

void FormatTimeText(StringBuf& out, int year, int month, int day, int hour, int minute, int second,
                    int millisecond) {
  // Formatted narrow, then widened: the text is pure ASCII.
  char text[32];
  std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d.%03dZ", year, month, day, hour,
                minute, second, millisecond);
  out.Clear();
  out.Append(text);
}

}  // namespace qz
