// The Windows platform: factories, clock, GUIDs and the event-log back end.
#ifndef QZ_PLATFORM_WIN32PLATFORM_H
#define QZ_PLATFORM_WIN32PLATFORM_H

#include <windows.h>
#include <rpc.h>

#include "platform/Platform.h"

namespace qz {

class Win32Platform : public Platform {
 public:
  // Opens the "qzwin32" event source; without it every log call is a no-op.
  Win32Platform();
  ~Win32Platform() override;

  // Registers "qzwin32" under HKLM's event-log sources with this module as the
  // message file. Silent on failure: users without administrator rights
  // cannot write there, and logging works without the registration.
  static void RegisterEventLogSource(HMODULE module, DWORD categoryCount);

 protected:
  Mutex* DoNewMutex() override;
  ThreadID* DoNewThreadID() override;
  IThread* DoNewThread(IRunnable* runnable) override;
  XMLTransmitter* DoNewXMLTransmitter(Configuration* configuration) override;
  OfflineData* DoNewOfflineData() override;
  void DoApplyDefaultEndpoint(Configuration* configuration) override;
  void DoGetPlatformInfo(PlatformInfo& info) override;
  uint64_t DoGetTimeMillis() override;
  void DoFormatTime(uint64_t milliseconds, StringBuf& out) override;
  void DoGetTimeString(StringBuf& out) override;
  void DoNewGUID(StringBuf& out) override;
  // Machine and user facts, in Win32Facts.cpp.
  void DoGetOsInfo(OsInfo& info, bool fullData) override;
  void DoGetVideoInfo(VideoInfo& info, bool fullData) override;
  void DoGetUserInfo(UserInfo& info, bool fullData, bool omitPersonalInfo) override;
  void DoGetTimeZoneInfo(TimeZoneInfo& info, bool fullData) override;
  void DoGetPowerState(StringBuf& out, bool fullData) override;
  void DoGetSystemModel(SystemModelInfo& info, bool fullData) override;
  void DoGetScreenInfo(ScreenInfo& info, bool fullData) override;
  void DoGetNetworkAdapters(FactList<NetworkAdapterInfo>& list, bool fullData,
                            bool omitPersonalInfo) override;
  void DoGetMemoryUse(MemoryUseInfo& info) override;
  void DoGetMemoryInfo(MemoryInfo& info, bool fullData) override;
  void DoGetHostInfo(HostInfo& info, bool omitPersonalInfo) override;
  void DoGetDomainInfo(DomainInfo& info, bool fullData, bool omitPersonalInfo) override;
  void DoGetDisks(FactList<DiskInfo>& list, bool fullData) override;
  uint32_t DoGetCpuLoad() override;
  void DoGetProcessors(FactList<CpuInfo>& list, bool fullData) override;
  void DoGetTerminalServicesInfo(TerminalServicesInfo& info, bool fullData) override;
  void DoGetSoundDevice(DeviceInfo& info, bool fullData) override;
  void DoGetModem(DeviceInfo& info, bool fullData) override;
  void DoGetPageFiles(FactList<PageFileInfo>& list, bool fullData) override;
  void DoLogInfo(const QZChar* source, const QZChar* message) override;
  void DoLogWarn(const QZChar* source, const QZChar* message) override;
  void DoLogError(const QZChar* source, const QZChar* message) override;

 private:
  void Report(WORD type, DWORD eventId, const QZChar* source, const QZChar* message);

  HANDLE eventSource;
};

namespace testhooks {

// Replacements for the system calls that tests cannot make fail or observe.
// Null restores the system's own; each returns the one installed before.
using UuidToStringFn = decltype(&::UuidToStringW);
using ReportEventFn = decltype(&::ReportEventW);
UuidToStringFn SetUuidToString(UuidToStringFn fn);
ReportEventFn SetReportEvent(ReportEventFn fn);
// The user name and volume serial numbers behind the user identifier: Wine
// has neither a domain account nor a machine without volumes.
using GetUserNameFn = decltype(&::GetUserNameW);
using GetVolumeInformationFn = decltype(&::GetVolumeInformationW);
GetUserNameFn SetGetUserName(GetUserNameFn fn);
GetVolumeInformationFn SetGetVolumeInformation(GetVolumeInformationFn fn);

}  // namespace testhooks
}  // namespace qz

#endif  // QZ_PLATFORM_WIN32PLATFORM_H
