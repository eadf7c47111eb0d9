// The one object through which the library reaches the operating system.
// Everything else calls the static operations, which forward to the singleton.
#ifndef QZ_PLATFORM_PLATFORM_H
#define QZ_PLATFORM_PLATFORM_H

#include <atomic>
#include <cstdint>

#include "platform/MachineFacts.h"
#include "qz/StringBuf.h"

namespace qz {

class Mutex;
class ThreadID;
class IThread;
class IRunnable;
class Configuration;
class XMLTransmitter;
class OfflineData;

struct PlatformInfo {
  StringBuf name;
  StringBuf version;
};

class Platform {
 public:
  static constexpr int32_t LOG_INFO = 100;
  static constexpr int32_t LOG_WARN = 200;
  static constexpr int32_t LOG_ERROR = 300;

  // The first platform constructed becomes the singleton; later ones do not.
  Platform();
  virtual ~Platform();
  Platform(const Platform&) = delete;
  Platform& operator=(const Platform&) = delete;

  // Static interface: each forwards to the singleton, or returns 0 / does nothing
  // when there is none.
  static Mutex* NewMutex();
  static ThreadID* NewThreadID();
  static IThread* NewThread(IRunnable* runnable);
  static XMLTransmitter* NewXMLTransmitter(Configuration* configuration);
  static OfflineData* NewOfflineData();
  static void ApplyDefaultEndpoint(Configuration* configuration);
  static void GetOsInfo(OsInfo& info, bool fullData);
  static void GetPlatformInfo(PlatformInfo& info);
  static uint64_t GetTimeMillis();
  static void FormatTime(uint64_t milliseconds, StringBuf& out);
  static void GetTimeString(StringBuf& out);
  // The current time text appended to out, which keeps what it holds.
  static void AppendTimeString(StringBuf& out);
  static void NewGUID(StringBuf& out);
  // Facts about the user and the machine: synchronous, on the caller's thread.
  static void GetVideoInfo(VideoInfo& info, bool fullData);
  static void GetUserInfo(UserInfo& info, bool fullData, bool omitPersonalInfo);
  static void GetTimeZoneInfo(TimeZoneInfo& info, bool fullData);
  static void GetPowerState(StringBuf& out, bool fullData);
  static void GetSystemModel(SystemModelInfo& info, bool fullData);
  static void GetScreenInfo(ScreenInfo& info, bool fullData);
  static void GetNetworkAdapters(FactList<NetworkAdapterInfo>& list, bool fullData,
                                 bool omitPersonalInfo);
  static void GetMemoryUse(MemoryUseInfo& info);
  static void GetMemoryInfo(MemoryInfo& info, bool fullData);
  static void GetHostInfo(HostInfo& info, bool omitPersonalInfo);
  static void GetDomainInfo(DomainInfo& info, bool fullData, bool omitPersonalInfo);
  static void GetDisks(FactList<DiskInfo>& list, bool fullData);
  static uint32_t GetCpuLoad();
  static void GetProcessors(FactList<CpuInfo>& list, bool fullData);
  static void GetTerminalServicesInfo(TerminalServicesInfo& info, bool fullData);
  static void GetSoundDevice(DeviceInfo& info, bool fullData);
  static void GetModem(DeviceInfo& info, bool fullData);
  static void GetPageFiles(FactList<PageFileInfo>& list, bool fullData);
  static void LogInfo(const QZChar* source, const QZChar* message);
  static void LogWarn(const QZChar* source, const QZChar* message);
  static void LogError(const QZChar* source, const QZChar* message);

  // Clamped to LOG_INFO..LOG_ERROR; no effect without a singleton.
  static void SetLogLevel(int32_t level);
  static int32_t GetLogLevel();
  static Platform* Instance();

 protected:
  virtual Mutex* DoNewMutex() = 0;
  virtual ThreadID* DoNewThreadID() = 0;
  virtual IThread* DoNewThread(IRunnable* runnable) = 0;
  virtual XMLTransmitter* DoNewXMLTransmitter(Configuration* configuration) = 0;
  virtual OfflineData* DoNewOfflineData() = 0;
  virtual void DoApplyDefaultEndpoint(Configuration* configuration) = 0;
  virtual void DoGetOsInfo(OsInfo& info, bool fullData) = 0;
  virtual void DoGetPlatformInfo(PlatformInfo& info) = 0;
  virtual uint64_t DoGetTimeMillis() = 0;
  virtual void DoFormatTime(uint64_t milliseconds, StringBuf& out) = 0;
  virtual void DoGetTimeString(StringBuf& out) = 0;
  virtual void DoNewGUID(StringBuf& out) = 0;
  virtual void DoGetVideoInfo(VideoInfo& info, bool fullData) = 0;
  virtual void DoGetUserInfo(UserInfo& info, bool fullData, bool omitPersonalInfo) = 0;
  virtual void DoGetTimeZoneInfo(TimeZoneInfo& info, bool fullData) = 0;
  virtual void DoGetPowerState(StringBuf& out, bool fullData) = 0;
  virtual void DoGetSystemModel(SystemModelInfo& info, bool fullData) = 0;
  virtual void DoGetScreenInfo(ScreenInfo& info, bool fullData) = 0;
  virtual void DoGetNetworkAdapters(FactList<NetworkAdapterInfo>& list, bool fullData,
                                    bool omitPersonalInfo) = 0;
  virtual void DoGetMemoryUse(MemoryUseInfo& info) = 0;
  virtual void DoGetMemoryInfo(MemoryInfo& info, bool fullData) = 0;
  virtual void DoGetHostInfo(HostInfo& info, bool omitPersonalInfo) = 0;
  virtual void DoGetDomainInfo(DomainInfo& info, bool fullData, bool omitPersonalInfo) = 0;
  virtual void DoGetDisks(FactList<DiskInfo>& list, bool fullData) = 0;
  virtual uint32_t DoGetCpuLoad() = 0;
  virtual void DoGetProcessors(FactList<CpuInfo>& list, bool fullData) = 0;
  virtual void DoGetTerminalServicesInfo(TerminalServicesInfo& info, bool fullData) = 0;
  virtual void DoGetSoundDevice(DeviceInfo& info, bool fullData) = 0;
  virtual void DoGetModem(DeviceInfo& info, bool fullData) = 0;
  virtual void DoGetPageFiles(FactList<PageFileInfo>& list, bool fullData) = 0;
  virtual void DoLogInfo(const QZChar* source, const QZChar* message) = 0;
  virtual void DoLogWarn(const QZChar* source, const QZChar* message) = 0;
  virtual void DoLogError(const QZChar* source, const QZChar* message) = 0;

 private:
  // Read and written without a lock from any thread; atomic only so that
  // neither side can see a torn value.
  std::atomic<int32_t> logLevel;
};

// Made by the platform file that CMake picks for this system.
Platform* NewNativePlatform();

// The last time that the 24-character time text can hold,
// 9999-12-31T23:59:59.999Z. FormatTime gives an empty text for later ones on
// every platform: they would need a fifth digit of the year, which no reader
// of the batch accepts.
constexpr uint64_t kLastTimeTextMillis = 253402300799999ULL;

// Time text shared by both platforms: "YYYY-MM-DDThh:mm:ss.mmmZ" (UTC) from
// calendar fields, as "%04d-%02d-%02dT%02d:%02d:%02d.%03dZ" writes it; it
// replaces the text of out.
void FormatTimeText(StringBuf& out, int year, int month, int day, int hour, int minute,
                    int second, int millisecond);
// The same from milliseconds since 1970-01-01 UTC, for any 64-bit value,
// appended to what out holds.
void AppendTimeText(StringBuf& out, uint64_t milliseconds);

}  // namespace qz

#endif  // QZ_PLATFORM_PLATFORM_H
