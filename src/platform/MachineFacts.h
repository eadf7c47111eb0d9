// Plain records that the platform fills with facts about the user and the
// machine, and that the host, user, probe and profile elements write.
// MiB everywhere means a byte count shifted right by 20 bits.
#ifndef QZ_PLATFORM_MACHINEFACTS_H
#define QZ_PLATFORM_MACHINEFACTS_H

#include <cstdint>
#include <memory>
#include <vector>

#include "qz/StringBuf.h"

namespace qz {

// A list that a platform operation appends heap records to; the caller owns them.
template <typename Record>
using FactList = std::vector<std::unique_ptr<Record>>;

struct OsInfo {
  StringBuf caption;
  uint32_t spMajor = 0;
  uint32_t spMinor = 0;
  StringBuf installDate;
  StringBuf productCode;
  StringBuf language;
};

struct VideoInfo {
  StringBuf name;
  uint64_t colors = 0;
  uint32_t memoryMB = 0;
  StringBuf driverVersion;
};

struct UserInfo {
  StringBuf name;
  bool admin = false;
};

struct TimeZoneInfo {
  int32_t offsetMinutes = 0;  // local standard time minus UTC
  bool daylight = false;
};

struct SystemModelInfo {
  StringBuf manufacturer;
  StringBuf model;
};

struct ScreenInfo {
  StringBuf deviceName;
  uint32_t width = 0;
  uint32_t height = 0;
  uint32_t refresh = 0;
};

struct NetworkAdapterInfo {
  StringBuf description;
  StringBuf ipAddress;
  StringBuf macAddress;
  uint32_t speedMbps = 0;
  uint32_t maxSpeedMbps = 0;
  bool dhcp = false;
};

struct MemoryUseInfo {
  uint32_t availableMB = 0;  // the system's available commit
  uint32_t usedMB = 0;       // this process's private commit
};

struct MemoryInfo {
  uint64_t totalMB = 0;
  uint64_t capacityMB = 0;  // sum of the installed modules
  uint32_t speed = 0;       // fastest module
};

struct HostInfo {
  StringBuf name;
  StringBuf ipAddress;
  StringBuf locale;
  bool virtualized = false;
  StringBuf srcLang;
  StringBuf srcLangVer;
};

struct DomainInfo {
  bool partOfDomain = false;
  StringBuf domain;
  StringBuf role;
};

struct DiskInfo {
  StringBuf name;
  uint64_t sizeMB = 0;
  uint64_t freeMB = 0;
  StringBuf fileSystem;
  StringBuf serial;
};

struct CpuInfo {
  StringBuf name;
  StringBuf manufacturer;
  StringBuf model;
  uint32_t addressWidth = 0;
  uint32_t currentSpeed = 0;  // MHz
  uint32_t maxSpeed = 0;      // MHz
};

struct TerminalServicesInfo {
  // What the platform sets before reading; kept when nothing could be read.
  static constexpr uint32_t MODE_UNKNOWN = 0xFFFFFFFFu;
  uint32_t mode = 0;
  StringBuf licensingName;
  bool connectionsAllowed = false;
};

// A sound device (manufacturer, product) or a modem (model, device type).
struct DeviceInfo {
  StringBuf first;
  StringBuf second;
};

struct PageFileInfo {
  StringBuf name;
  uint32_t initialSize = 0;  // megabytes
  uint32_t maximumSize = 0;  // megabytes
};

// MD5 of the text's UTF-16LE code units as 32 upper-case hexadecimal digits;
// out stays empty when no digest can be made. Each platform has its own.
void HashText(const QZChar* text, StringBuf& out);

}  // namespace qz

#endif  // QZ_PLATFORM_MACHINEFACTS_H
