// Facts about the user and the machine; not collected yet on this platform.
#include "platform/Win32Platform.h"

namespace qz {

void Win32Platform::DoGetOsInfo(OsInfo& info, bool) {
  info.caption.Clear();
  info.installDate.Clear();
  info.productCode.Clear();
  info.language.Clear();
  info.spMajor = info.spMinor = 0;
}

void Win32Platform::DoGetVideoInfo(VideoInfo& info, bool) {
  info = VideoInfo();
}

void Win32Platform::DoGetUserInfo(UserInfo& info, bool, bool) {
  info.name.Clear();
  info.admin = false;
}

void Win32Platform::DoGetTimeZoneInfo(TimeZoneInfo& info, bool) {
  info = TimeZoneInfo();
}

void Win32Platform::DoGetPowerState(StringBuf& out, bool) {
  out.Clear();
}

void Win32Platform::DoGetSystemModel(SystemModelInfo& info, bool) {
  info.manufacturer.Clear();
  info.model.Clear();
}

void Win32Platform::DoGetScreenInfo(ScreenInfo& info, bool) {
  info.deviceName.Clear();
  info.width = info.height = info.refresh = 0;
}

void Win32Platform::DoGetNetworkAdapters(FactList<NetworkAdapterInfo>& list, bool, bool) {
  list.clear();
}

void Win32Platform::DoGetMemoryUse(MemoryUseInfo& info) {
  info = MemoryUseInfo();
}

void Win32Platform::DoGetMemoryInfo(MemoryInfo& info, bool) {
  info = MemoryInfo();
}

void Win32Platform::DoGetHostInfo(HostInfo& info, bool) {
  info.name.Clear();
  info.ipAddress.Clear();
  info.locale.Clear();
}

void Win32Platform::DoGetDomainInfo(DomainInfo& info, bool, bool) {
  info.partOfDomain = false;
  info.domain.Clear();
  info.role.Clear();
}

void Win32Platform::DoGetDisks(FactList<DiskInfo>&, bool) {}

void Win32Platform::DoGetProcessors(FactList<CpuInfo>&, bool) {}

void Win32Platform::DoGetTerminalServicesInfo(TerminalServicesInfo& info, bool) {
  info.mode = 0;
  info.licensingName.Clear();
  info.connectionsAllowed = false;
}

void Win32Platform::DoGetSoundDevice(DeviceInfo& info, bool) {
  info.first.Clear();
  info.second.Clear();
}

void Win32Platform::DoGetModem(DeviceInfo& info, bool) {
  info.first.Clear();
  info.second.Clear();
}

void Win32Platform::DoGetPageFiles(FactList<PageFileInfo>& list, bool) {
  list.clear();
}

uint32_t Win32Platform::DoGetCpuLoad() { return 0; }

void HashText(const QZChar*, StringBuf& out) { out.Clear(); }

}  // namespace qz
