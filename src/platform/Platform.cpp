#include "platform/Platform.h"

#include <atomic>
#include <mutex>
#include <string>

#include "platform/TestHooks.h"

namespace qz {
namespace {

std::atomic<Platform*> g_singleton{nullptr};
std::atomic<testhooks::LogSink*> g_logSink{nullptr};
std::atomic<testhooks::ClockFunction> g_clockOverride{nullptr};
std::atomic<testhooks::StorageFolderFunction> g_storageFolderOverride{nullptr};
std::mutex g_authoritiesLock;
std::string g_authoritiesFile;

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
void SetTrustedAuthoritiesFile(const std::string& path) {
  std::lock_guard<std::mutex> guard(g_authoritiesLock);
  g_authoritiesFile = path;
}
std::string GetTrustedAuthoritiesFile() {
  std::lock_guard<std::mutex> guard(g_authoritiesLock);
  return g_authoritiesFile;
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

namespace {

// value in at least width digits, zero-padded, as "%0*d" writes it; returns
// the count. Inlined with a constant width, the usual case is a few multiplies.
inline int WriteDigits(QZChar* out, uint64_t value, int width) {
  uint64_t limit = 1;
  for (int i = 0; i < width; ++i) limit *= 10;
  if (value < limit) {
    for (int i = width - 1; i >= 0; --i) {
      out[i] = static_cast<QZChar>('0' + value % 10);
      value /= 10;
    }
    return width;
  }
  QZChar reversed[20];
  int n = 0;
  do {
    reversed[n++] = static_cast<QZChar>('0' + value % 10);
    value /= 10;
  } while (value != 0);
  for (int i = 0; i < n; ++i) out[i] = reversed[n - 1 - i];
  return n;
}

// The longest time text: a year of up to 20 digits and the 20 other characters.
constexpr int kTimeTextCapacity = 48;

// The time text of calendar fields into out; returns its length.
int WriteTimeText(QZChar* out, uint64_t year, uint32_t month, uint32_t day, uint32_t hour,
                  uint32_t minute, uint32_t second, uint32_t millisecond) {
  // Written digit by digit: this runs for every message, and the C library's
  // formatting costs far more than the text is worth.
  QZChar* p = out + WriteDigits(out, year, 4);
  *p++ = '-';
  p += WriteDigits(p, month, 2);
  *p++ = '-';
  p += WriteDigits(p, day, 2);
  *p++ = 'T';
  p += WriteDigits(p, hour, 2);
  *p++ = ':';
  p += WriteDigits(p, minute, 2);
  *p++ = ':';
  p += WriteDigits(p, second, 2);
  *p++ = '.';
  p += WriteDigits(p, millisecond, 3);
  *p++ = 'Z';
  return static_cast<int>(p - out);
}

// The same from milliseconds since 1970-01-01 UTC.
int WriteTimeText(QZChar* out, uint64_t milliseconds) {
  const uint64_t seconds = milliseconds / 1000;
  const uint64_t secondOfDay = seconds % 86400;
  // Days since 1970-01-01 to the proleptic Gregorian calendar, in whole
  // 400-year eras counted from 0000-03-01 (so that leap days end a year).
  const uint64_t days = seconds / 86400 + 719468;
  const uint64_t era = days / 146097;
  const uint64_t dayOfEra = days - era * 146097;
  const uint64_t yearOfEra =
      (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  const uint64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const uint64_t shiftedMonth = (5 * dayOfYear + 2) / 153;  // 0 = March
  const uint64_t day = dayOfYear - (153 * shiftedMonth + 2) / 5 + 1;
  const uint64_t month = shiftedMonth < 10 ? shiftedMonth + 3 : shiftedMonth - 9;
  const uint64_t year = yearOfEra + era * 400 + (month <= 2 ? 1 : 0);
  return WriteTimeText(out, year, static_cast<uint32_t>(month), static_cast<uint32_t>(day),
                       static_cast<uint32_t>(secondOfDay / 3600),
                       static_cast<uint32_t>(secondOfDay / 60 % 60),
                       static_cast<uint32_t>(secondOfDay % 60),
                       static_cast<uint32_t>(milliseconds % 1000));
}

// Messages come many to a second: each thread keeps the text of the time it
// last wrote and, within the same second, writes only the milliseconds anew.
struct LastTimeText {
  uint64_t second = UINT64_MAX;  // none yet
  int length = 0;
  QZChar text[kTimeTextCapacity];
};
thread_local LastTimeText t_lastTimeText;

}  // namespace

void FormatTimeText(StringBuf& out, int year, int month, int day, int hour, int minute, int second,
                    int millisecond) {
  QZChar text[kTimeTextCapacity];
  const int n = WriteTimeText(text, static_cast<uint64_t>(year), static_cast<uint32_t>(month),
                              static_cast<uint32_t>(day), static_cast<uint32_t>(hour),
                              static_cast<uint32_t>(minute), static_cast<uint32_t>(second),
                              static_cast<uint32_t>(millisecond));
  out.Clear();
  out.Append(text, static_cast<uint64_t>(n));
}

void AppendTimeText(StringBuf& out, uint64_t milliseconds) {
  QZChar text[kTimeTextCapacity];
  out.Append(text, static_cast<uint64_t>(WriteTimeText(text, milliseconds)));
}

void Platform::AppendTimeString(StringBuf& out) {
  Platform* p = Instance();
  if (p == nullptr) return;
  // The real clock, as GetTimeString reads it: a test's clock steers the
  // flow of messages, never their time stamps.
  const uint64_t now = p->DoGetTimeMillis();
  LastTimeText& last = t_lastTimeText;
  if (now / 1000 != last.second) {
    last.length = WriteTimeText(last.text, now);
    last.second = now / 1000;
  } else {
    // "mmmZ" ends the text.
    const uint32_t millisecond = static_cast<uint32_t>(now % 1000);
    WriteDigits(last.text + last.length - 4, millisecond, 3);
  }
  out.Append(last.text, static_cast<uint64_t>(last.length));
}

}  // namespace qz
