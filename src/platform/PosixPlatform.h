// The Linux platform: factories, clock, GUIDs and the syslog back end.
#ifndef QZ_PLATFORM_POSIXPLATFORM_H
#define QZ_PLATFORM_POSIXPLATFORM_H

#include "platform/Platform.h"

namespace qz {

class PosixPlatform : public Platform {
 public:
  PosixPlatform();
  ~PosixPlatform() override;

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
  // Random (version 4) GUIDs from a generator seeded once per process by the
  // kernel and again in every forked child.
  void DoNewGUID(StringBuf& out) override;
  // Written to syslog (facility user) as "source: message" in UTF-8, under the
  // host program's own syslog identity: the library never calls openlog.
  // Machine and user facts, in PosixFacts.cpp.
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
};

}  // namespace qz

#endif  // QZ_PLATFORM_POSIXPLATFORM_H
