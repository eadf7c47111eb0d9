// Facts about the user and the machine on Linux, from the system's own files
// and calls. The README's table "Machine facts on Linux" says which source
// feeds which fact; the parsers are in PosixFactFiles, the probe's load in
// PosixLoadSampler.
#include <arpa/inet.h>
#include <dirent.h>
#include <ifaddrs.h>
#include <linux/if_packet.h>
#include <net/if.h>
#include <netdb.h>
#include <netinet/in.h>
#include <openssl/evp.h>
#include <pwd.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/utsname.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "platform/FactRules.h"
#include "platform/PosixFactFiles.h"
#include "platform/PosixLoadSampler.h"
#include "platform/PosixPlatform.h"
#include "types/Utf8.h"

namespace qz {
namespace {

struct FolderCloser {
  void operator()(DIR* folder) const { closedir(folder); }
};

void HashUtf8(const std::string& text, StringBuf& out) {
  StringBuf wide;
  AppendFromUtf8(wide, text);
  HashText(wide, out);
}

std::string HostName() {
  char name[HOST_NAME_MAX + 1] = {};
  if (gethostname(name, sizeof name - 1) != 0) return std::string();
  return name;
}

// The first file of the list that can be read.
bool ReadFirstFile(std::initializer_list<const char*> paths, std::string& text) {
  for (const char* path : paths) {
    if (ReadSmallFile(path, text)) return true;
  }
  return false;
}

std::string TrimmedFile(const char* path) {
  std::string text;
  ReadSmallFile(path, text, 4096);
  const size_t end = text.find_last_not_of(" \t\r\n");
  return end == std::string::npos ? std::string() : text.substr(0, end + 1);
}

// NIS domain when there is one (then the machine is a member), else the DNS
// suffix of the host name; lower case.
void ReadDomain(DomainInfo& info) {
  info.partOfDomain = false;
  info.domain.Clear();
  info.role.Clear();
  utsname names;
  std::string domain;
  if (uname(&names) == 0 && names.domainname[0] != 0 &&
      std::strcmp(names.domainname, "(none)") != 0) {
    domain = names.domainname;
    info.partOfDomain = true;
  } else {
    const std::string host = HostName();
    const size_t dot = host.find('.');
    if (dot != std::string::npos) domain = host.substr(dot + 1);
  }
  AppendFromUtf8(info.domain, domain);
  info.domain.ToLowercase();
}

std::string UserName() {
  long size = sysconf(_SC_GETPW_R_SIZE_MAX);
  std::vector<char> buffer(size > 0 ? static_cast<size_t>(size) : 16384);
  passwd entry;
  passwd* found = nullptr;
  if (getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found) != 0 ||
      found == nullptr) {
    return std::string();
  }
  return entry.pw_name;
}

// The same for every user of the machine, and no name in clear text.
void MachineIdentifier(StringBuf& out) {
  for (const char* path : {"/etc/machine-id", "/var/lib/dbus/machine-id"}) {
    // "uninitialized" while the first boot has not written one.
    const std::string id = TrimmedFile(path);
    if (IsMachineId(id)) {
      AnonymousMachineIdentity(id, out);
      return;
    }
  }
  out = QZ_TEXT("N/A");
}

// The IPv4 addresses the host name resolves to, in order.
std::vector<uint32_t> ResolveHostName(const std::string& host) {
  std::vector<uint32_t> addresses;
  if (host.empty()) return addresses;
  addrinfo hints = {};
  hints.ai_family = AF_INET;
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_protocol = IPPROTO_TCP;
  addrinfo* results = nullptr;
  if (getaddrinfo(host.c_str(), nullptr, &hints, &results) != 0) return addresses;
  // Freed however this ends: the list may fail to grow.
  std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> owned(results, &freeaddrinfo);
  for (addrinfo* r = results; r != nullptr; r = r->ai_next) {
    if (r->ai_family != AF_INET || r->ai_addr == nullptr) continue;
    addresses.push_back(ntohl(reinterpret_cast<const sockaddr_in*>(r->ai_addr)->sin_addr.s_addr));
  }
  return addresses;
}

std::vector<InterfaceAddress> ReadInterfaceAddresses() {
  std::vector<InterfaceAddress> addresses;
  ifaddrs* list = nullptr;
  if (getifaddrs(&list) != 0) return addresses;
  std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> owned(list, &freeifaddrs);
  for (ifaddrs* i = list; i != nullptr; i = i->ifa_next) {
    if (i->ifa_name == nullptr || i->ifa_addr == nullptr || i->ifa_addr->sa_family != AF_INET) {
      continue;
    }
    InterfaceAddress address;
    address.index = if_nametoindex(i->ifa_name);
    address.up = (i->ifa_flags & IFF_UP) != 0;
    address.loopback = (i->ifa_flags & IFF_LOOPBACK) != 0;
    address.address = ntohl(reinterpret_cast<const sockaddr_in*>(i->ifa_addr)->sin_addr.s_addr);
    addresses.push_back(address);
  }
  return addresses;
}

uint32_t NumberFile(const std::string& path) {
  const std::string text = TrimmedFile(path.c_str());
  // Unknown speeds read as -1 or fail to read.
  if (text.empty() || text[0] == '-') return 0;
  return static_cast<uint32_t>(std::strtoul(text.c_str(), nullptr, 10));
}

std::vector<InterfaceFacts> ReadInterfaces(bool fullData) {
  std::vector<InterfaceFacts> interfaces;
  ifaddrs* list = nullptr;
  if (getifaddrs(&list) != 0) return interfaces;
  std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> owned(list, &freeifaddrs);
  for (ifaddrs* i = list; i != nullptr; i = i->ifa_next) {
    if (i->ifa_name == nullptr || (i->ifa_flags & IFF_LOOPBACK) != 0) continue;
    auto known = std::find_if(interfaces.begin(), interfaces.end(),
                              [&](const InterfaceFacts& f) { return f.name == i->ifa_name; });
    if (known == interfaces.end()) {
      interfaces.push_back(InterfaceFacts());
      known = interfaces.end() - 1;
      known->name = i->ifa_name;
      if (fullData) known->speedMbps = NumberFile("/sys/class/net/" + known->name + "/speed");
    }
    if (i->ifa_addr == nullptr) continue;
    if (i->ifa_addr->sa_family == AF_PACKET) {
      const auto* link = reinterpret_cast<const sockaddr_ll*>(i->ifa_addr);
      known->hardware.assign(link->sll_addr, link->sll_addr + std::min<size_t>(link->sll_halen, 8));
    } else if (i->ifa_addr->sa_family == AF_INET && known->ipv4.empty()) {
      char text[INET_ADDRSTRLEN] = {};
      if (inet_ntop(AF_INET, &reinterpret_cast<const sockaddr_in*>(i->ifa_addr)->sin_addr, text,
                    sizeof text) != nullptr) {
        known->ipv4 = text;
      }
    }
  }
  return interfaces;
}

// The UUID whose /dev/disk/by-uuid link leads to device, or empty.
std::string VolumeUuid(const std::string& device) {
  char target[PATH_MAX];
  if (realpath(device.c_str(), target) == nullptr) return std::string();
  const std::string folder = "/dev/disk/by-uuid/";
  std::string uuid;
  if (DIR* dir = opendir(folder.c_str())) {
    std::unique_ptr<DIR, FolderCloser> owned(dir);
    while (dirent* entry = readdir(dir)) {
      char linked[PATH_MAX];
      if (entry->d_name[0] == '.') continue;
      if (realpath((folder + entry->d_name).c_str(), linked) != nullptr &&
          std::strcmp(linked, target) == 0) {
        uuid = entry->d_name;
        break;
      }
    }
  }
  return uuid;
}

bool IsDirectory(const std::string& path) {
  struct stat info;
  return stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

// The compiler that built the library, in the form of a version number.
void CompilerFacts(HostInfo& info) {
#if defined(__clang__)
  info.srcLang = QZ_TEXT("Clang");
  info.srcLangVer.Clear();
  info.srcLangVer.Append(static_cast<uint32_t>(__clang_major__ * 10000 + __clang_minor__ * 100 +
                                               __clang_patchlevel__),
                         10);
#else
  info.srcLang = QZ_TEXT("GCC");
  info.srcLangVer.Clear();
  info.srcLangVer.Append(
      static_cast<uint32_t>(__GNUC__ * 10000 + __GNUC_MINOR__ * 100 + __GNUC_PATCHLEVEL__),
      10);
#endif
}

}  // namespace

void HashText(const QZChar* text, StringBuf& out) {
  out.Clear();
  std::string bytes;
  for (const QZChar* p = text; p != nullptr && *p != 0; ++p) {
    bytes.push_back(static_cast<char>(*p & 0xFF));
    bytes.push_back(static_cast<char>((*p >> 8) & 0xFF));
  }
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int size = 0;
  // Fails where MD5 is not allowed (a FIPS-only provider): no digest then.
  if (EVP_Digest(bytes.data(), bytes.size(), digest, &size, EVP_md5(), nullptr) != 1 ||
      size != 16) {
    return;
  }
  AppendUpperHex(digest, size, out);
}

void PosixPlatform::DoGetOsInfo(OsInfo& info, bool) {
  info.caption.Clear();
  info.installDate.Clear();
  info.productCode.Clear();
  info.language.Clear();
  info.spMajor = info.spMinor = 0;
  std::string text;
  if (ReadFirstFile({"/etc/os-release", "/usr/lib/os-release"}, text) &&
      OsReleaseCaption(text, info.caption)) {
    return;
  }
  utsname names;
  if (uname(&names) == 0) {
    AppendFromUtf8(info.caption, std::string(names.sysname) + " " + names.release);
  }
}

void PosixPlatform::DoGetVideoInfo(VideoInfo& info, bool) {
  info = VideoInfo();
  AppendFromUtf8(info.name, TrimmedFile("/sys/class/graphics/fb0/name"));
  const uint32_t bits = NumberFile("/sys/class/graphics/fb0/bits_per_pixel");
  if (bits > 0 && bits < 64) info.colors = uint64_t(1) << bits;
}

void PosixPlatform::DoGetUserInfo(UserInfo& info, bool, bool omitPersonalInfo) {
  info.admin = false;
  if (omitPersonalInfo) {
    MachineIdentifier(info.name);
    return;
  }
  DomainInfo domain;
  ReadDomain(domain);
  StringBuf user;
  AppendFromUtf8(user, UserName());
  StringBuf identity;
  UserIdentityText(domain.domain, user, identity);
  HashText(identity, info.name);
}

void PosixPlatform::DoGetTimeZoneInfo(TimeZoneInfo& info, bool) {
  LocalTimeZoneAt(time(nullptr), info);
}

void PosixPlatform::DoGetPowerState(StringBuf& out, bool) { out.Clear(); }

void PosixPlatform::DoGetSystemModel(SystemModelInfo& info, bool fullData) {
  info.manufacturer.Clear();
  info.model.Clear();
  if (!fullData) return;
  AppendFromUtf8(info.manufacturer, TrimmedFile("/sys/class/dmi/id/sys_vendor"));
  AppendFromUtf8(info.model, TrimmedFile("/sys/class/dmi/id/product_name"));
}

void PosixPlatform::DoGetScreenInfo(ScreenInfo& info, bool) {
  info.deviceName.Clear();
  info.width = info.height = info.refresh = 0;
  // "1920,1080"
  const std::string size = TrimmedFile("/sys/class/graphics/fb0/virtual_size");
  const size_t comma = size.find(',');
  if (comma == std::string::npos) return;
  info.deviceName = QZ_TEXT("fb0");
  info.width = static_cast<uint32_t>(std::strtoul(size.c_str(), nullptr, 10));
  info.height = static_cast<uint32_t>(std::strtoul(size.c_str() + comma + 1, nullptr, 10));
}

void PosixPlatform::DoGetNetworkAdapters(FactList<NetworkAdapterInfo>& list, bool fullData,
                                         bool omitPersonalInfo) {
  list.clear();
  AddAdapters(ReadInterfaces(fullData), omitPersonalInfo, list);
}

void PosixPlatform::DoGetMemoryUse(MemoryUseInfo& info) {
  PosixLoadSampler::Instance().GetMemoryUse(info);
}

void PosixPlatform::DoGetMemoryInfo(MemoryInfo& info, bool fullData) {
  info = MemoryInfo();
  if (!fullData) return;
  std::string meminfo;
  uint64_t total = 0;
  if (ReadSmallFile("/proc/meminfo", meminfo) && FindKilobytes(meminfo, "MemTotal", total)) {
    info.totalMB = BytesToMiB(total * 1024);
  }
}

void PosixPlatform::DoGetHostInfo(HostInfo& info, bool omitPersonalInfo) {
  if (omitPersonalInfo) {
    info.name = QZ_TEXT("N/A");
    info.ipAddress = QZ_TEXT("0.0.0.0");
  } else {
    const std::string host = HostName();
    info.name.Clear();
    if (!host.empty()) HashUtf8(host, info.name);
    ChooseHostAddress(ResolveHostName(host), ReadInterfaceAddresses(), info.ipAddress);
  }
  LocaleName(getenv("LC_ALL"), getenv("LC_MESSAGES"), getenv("LANG"), info.locale);
  info.virtualized = false;
  CompilerFacts(info);
}

void PosixPlatform::DoGetDomainInfo(DomainInfo& info, bool, bool) { ReadDomain(info); }

void PosixPlatform::DoGetDisks(FactList<DiskInfo>& list, bool fullData) {
  std::string mounts;
  if (!ReadFirstFile({"/proc/self/mounts", "/etc/mtab"}, mounts)) return;
  for (const MountEntry& volume : ParseMounts(mounts, IsDirectory)) {
    auto disk = std::make_unique<DiskInfo>();
    AppendFromUtf8(disk->name, volume.mountPoint);
    struct statvfs space;
    if (statvfs(volume.mountPoint.c_str(), &space) == 0) {
      disk->sizeMB = BytesToMiB(uint64_t(space.f_blocks) * space.f_frsize);
      disk->freeMB = BytesToMiB(uint64_t(space.f_bfree) * space.f_frsize);
    }
    if (fullData) {
      AppendFromUtf8(disk->fileSystem, volume.fileSystem);
      AppendFromUtf8(disk->serial, VolumeUuid(volume.device));
    }
    list.push_back(std::move(disk));
  }
}

void PosixPlatform::DoGetProcessors(FactList<CpuInfo>& list, bool fullData) {
  if (!fullData) return;
  std::string text;
  if (!ReadSmallFile("/proc/cpuinfo", text, 16 << 20)) return;
  const size_t first = list.size();
  std::vector<uint32_t> firstProcessor;
  ParseCpuInfo(text, static_cast<uint32_t>(sizeof(void*) * 8), list, firstProcessor);
  for (size_t i = 0; i < firstProcessor.size(); ++i) {
    // Kilohertz.
    list[first + i]->maxSpeed = NumberFile("/sys/devices/system/cpu/cpu" +
                                           std::to_string(firstProcessor[i]) +
                                           "/cpufreq/cpuinfo_max_freq") / 1000;
  }
}

void PosixPlatform::DoGetTerminalServicesInfo(TerminalServicesInfo& info, bool) {
  info.mode = TerminalServicesInfo::MODE_UNKNOWN;
  info.licensingName.Clear();
  info.connectionsAllowed = false;
}

void PosixPlatform::DoGetSoundDevice(DeviceInfo& info, bool) {
  std::string text;
  ReadSmallFile("/proc/asound/cards", text);
  ParseSoundCards(text, info);
}

void PosixPlatform::DoGetModem(DeviceInfo& info, bool) {
  info.first.Clear();
  info.second.Clear();
}

void PosixPlatform::DoGetPageFiles(FactList<PageFileInfo>& list, bool) {
  list.clear();
  std::string text;
  if (ReadSmallFile("/proc/swaps", text)) ParseSwaps(text, list);
}

uint32_t PosixPlatform::DoGetCpuLoad() { return PosixLoadSampler::Instance().CpuLoad(); }

}  // namespace qz
