// Facts about the user and the machine; not collected yet on this platform.
#include "platform/PosixPlatform.h"

namespace qz {

void PosixPlatform::DoGetOsInfo(OsInfo& info, bool) {
  info.caption.Clear();
  info.installDate.Clear();
  info.productCode.Clear();
  info.language.Clear();
  info.spMajor = info.spMinor = 0;
}

void PosixPlatform::DoGetVideoInfo(VideoInfo& info, bool) {
  info = VideoInfo();
}

void PosixPlatform::DoGetUserInfo(UserInfo& info, bool, bool) {
  info.name.Clear();
  info.admin = false;
}

void PosixPlatform::DoGetTimeZoneInfo(TimeZoneInfo& info, bool) {
  info = TimeZoneInfo();
}

void PosixPlatform::DoGetPowerState(StringBuf& out, bool) {
  out.Clear();
}

void PosixPlatform::DoGetSystemModel(SystemModelInfo& info, bool) {
  info.manufacturer.Clear();
  info.model.Clear();
}

void PosixPlatform::DoGetScreenInfo(ScreenInfo& info, bool) {
  info.deviceName.Clear();
  info.width = info.height = info.refresh = 0;
}

void PosixPlatform::DoGetNetworkAdapters(FactList<NetworkAdapterInfo>& list, bool, bool) {
  list.clear();
}

void PosixPlatform::DoGetMemoryUse(MemoryUseInfo& info) {
  info = MemoryUseInfo();
}

void PosixPlatform::DoGetMemoryInfo(MemoryInfo& info, bool) {
  info = MemoryInfo();
}

void PosixPlatform::DoGetHostInfo(HostInfo& info, bool) {
  info.name.Clear();
  info.ipAddress.Clear();
  info.locale.Clear();
}

void PosixPlatform::DoGetDomainInfo(DomainInfo& info, bool, bool) {
  info.partOfDomain = false;
  info.domain.Clear();
  info.role.Clear();
}

void PosixPlatform::DoGetDisks(FactList<DiskInfo>&, bool) {}

void PosixPlatform::DoGetProcessors(FactList<CpuInfo>&, bool) {}

void PosixPlatform::DoGetTerminalServicesInfo(TerminalServicesInfo& info, bool) {
  info.mode = 0;
  info.licensingName.Clear();
  info.connectionsAllowed = false;
}

void PosixPlatform::DoGetSoundDevice(DeviceInfo& info, bool) {
  info.first.Clear();
  info.second.Clear();
}

void PosixPlatform::DoGetModem(DeviceInfo& info, bool) {
  info.first.Clear();
  info.second.Clear();
}

void PosixPlatform::DoGetPageFiles(FactList<PageFileInfo>& list, bool) {
  list.clear();
}

uint32_t PosixPlatform::DoGetCpuLoad() { return 0; }

void HashText(const QZChar*, StringBuf& out) { out.Clear(); }

}  // namespace qz
