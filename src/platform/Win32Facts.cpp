// Facts about the user and the machine, from Win32 calls and WMI. Nothing
// here logs: a fact that cannot be read keeps its cleared or neutral value.
// Winsock 2 comes before windows.h, which would otherwise bring the old winsock.
#include <winsock2.h>
#include <ws2tcpip.h>

#include "platform/Win32Platform.h"

#include <iphlpapi.h>
#include <lm.h>
#include <psapi.h>
#include <wincrypt.h>
#include <winioctl.h>

#include <atomic>
#include <cwchar>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "platform/FactRules.h"
#include "platform/WMIQueryWin32.h"

namespace qz {
namespace {

std::atomic<testhooks::GetUserNameFn> g_getUserName{nullptr};
std::atomic<testhooks::GetVolumeInformationFn> g_getVolumeInformation{nullptr};

template <typename Fn>
Fn Hooked(const std::atomic<Fn>& hook, Fn real) {
  Fn fn = hook.load();
  return fn != nullptr ? fn : real;
}

// Functions that older kernels lack, looked up when needed.
template <typename Fn>
Fn Kernel32Export(const char* name) {
  HMODULE kernel = GetModuleHandleW(L"kernel32.dll");
  FARPROC proc = kernel != nullptr ? GetProcAddress(kernel, name) : nullptr;
  // Through the generic function type, which converts to any other silently.
  return reinterpret_cast<Fn>(reinterpret_cast<void (*)()>(proc));
}

// A fixed-size text field of a system structure, which need not be terminated.
void SetField(StringBuf& out, const wchar_t* field, size_t capacity) {
  out.Clear();
  for (size_t i = 0; i < capacity && field[i] != 0; ++i) out.Append(field[i]);
}

// Single-byte text in the system's code page, as the IP Helper gives it.
void SetAnsiField(StringBuf& out, const char* field, size_t capacity) {
  out.Clear();
  const int bytes = static_cast<int>(strnlen(field, capacity));
  if (bytes == 0) return;
  std::wstring wide(static_cast<size_t>(bytes), L'\0');
  const int units = MultiByteToWideChar(CP_ACP, 0, field, bytes, &wide[0], bytes);
  if (units <= 0) return;
  wide.resize(static_cast<size_t>(units));
  out = wide.c_str();
}

// A 64-bit count that WMI delivers as decimal text, in MiB; 0 when unreadable.
uint64_t ReadMiB(WMIQuery& query, const QZChar* name) {
  StringBuf text;
  query.GetString(name, text);
  return BytesToMiB(ParseDecimalInt64(text));
}

// The first row's two text properties; both stay empty without a row.
void ReadFirstRow(const QZChar* wql, const QZChar* firstName, StringBuf& first,
                  const QZChar* secondName, StringBuf& second) {
  first.Clear();
  second.Clear();
  WMIQuery query;
  if (!query.Execute(wql) || !query.Next()) return;
  query.GetString(firstName, first);
  query.GetString(secondName, second);
}

// The same for every user of the machine: the hash of the first volume serial
// number from C: on, or "N/A".
void SetVolumeIdentifier(StringBuf& name) {
  const testhooks::GetVolumeInformationFn getVolume =
      Hooked(g_getVolumeInformation, &::GetVolumeInformationW);
  for (wchar_t letter = L'C'; letter <= L'Z'; ++letter) {
    const wchar_t root[] = {letter, L':', L'\\', 0};
    DWORD serial = 0;
    if (getVolume(root, nullptr, 0, &serial, nullptr, nullptr, nullptr, 0)) {
      StringBuf text;
      text.Append(static_cast<uint32_t>(serial), 16);
      HashText(text, name);
      return;
    }
  }
  name = QZ_TEXT("N/A");
}

bool ReadComputerName(StringBuf& out) {
  out.Clear();
  LPBYTE buffer = nullptr;
  const NET_API_STATUS status = NetWkstaGetInfo(nullptr, 100, &buffer);
  if (status == NERR_Success && buffer != nullptr) {
    out = reinterpret_cast<const WKSTA_INFO_100*>(buffer)->wki100_computername;
  }
  if (buffer != nullptr) NetApiBufferFree(buffer);
  return status == NERR_Success;
}

// Underscores in place of hyphens (en_US); empty on systems without the call.
void SetLocaleName(StringBuf& out) {
  out.Clear();
  using LcidToLocaleNameFn = int(WINAPI*)(LCID, LPWSTR, int, DWORD);
  const auto toName = Kernel32Export<LcidToLocaleNameFn>("LCIDToLocaleName");
  if (toName == nullptr) return;
  wchar_t name[85];
  if (toName(GetUserDefaultLCID(), name, 85, 0) <= 0) return;
  for (wchar_t* p = name; *p != 0; ++p) {
    if (*p == L'-') *p = L'_';
  }
  out = name;
}

// The first IPv4 address the resolver gives for the host name. The wide
// resolver takes names outside ASCII as they are.
void SetHostAddress(const StringBuf& host, StringBuf& out) {
  out.Clear();
  WSADATA data;
  if (WSAStartup(MAKEWORD(2, 2), &data) != 0) return;
  ADDRINFOW hints;
  ZeroMemory(&hints, sizeof hints);
  hints.ai_family = AF_INET;
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_protocol = IPPROTO_TCP;
  ADDRINFOW* results = nullptr;
  if (GetAddrInfoW(host, nullptr, &hints, &results) == 0) {
    for (const ADDRINFOW* a = results; a != nullptr; a = a->ai_next) {
      if (a->ai_family != AF_INET || a->ai_addr == nullptr) continue;
      const char* text = inet_ntoa(reinterpret_cast<const sockaddr_in*>(a->ai_addr)->sin_addr);
      if (text != nullptr && *text != 0) {
        out.Append(text);
        break;
      }
    }
    FreeAddrInfoW(results);
  }
  WSACleanup();
}

// The name from the version functions, with service-pack numbers.
void SetVersionName(OsInfo& info) {
  OSVERSIONINFOEXW version;
  ZeroMemory(&version, sizeof version);
  version.dwOSVersionInfoSize = sizeof version;
  if (!GetVersionExW(reinterpret_cast<OSVERSIONINFOW*>(&version))) return;
  info.spMajor = version.wServicePackMajor;
  info.spMinor = version.wServicePackMinor;
  SYSTEM_INFO system;
  ZeroMemory(&system, sizeof system);
  using NativeSystemInfoFn = void(WINAPI*)(LPSYSTEM_INFO);
  const auto nativeInfo = Kernel32Export<NativeSystemInfoFn>("GetNativeSystemInfo");
  if (nativeInfo != nullptr) {
    nativeInfo(&system);
  } else {
    GetSystemInfo(&system);
  }
  WindowsVersion v;
  v.platformId = version.dwPlatformId;
  v.major = version.dwMajorVersion;
  v.minor = version.dwMinorVersion;
  v.productType = version.wProductType;
  v.suiteMask = version.wSuiteMask;
  v.processorArchitecture = system.wProcessorArchitecture;
  v.serverR2 = GetSystemMetrics(SM_SERVERR2) != 0;
  using ProductInfoFn = BOOL(WINAPI*)(DWORD, DWORD, DWORD, DWORD, PDWORD);
  const auto productInfo = Kernel32Export<ProductInfoFn>("GetProductInfo");
  if (productInfo != nullptr) {
    DWORD type = 0;
    v.hasProductInfo = productInfo(v.major, v.minor, 0, 0, &type) != FALSE;
    v.productInfoType = type;
  }
  AppendWindowsVersionName(info.caption, v);
}

// Size and free space of a drive letter that answers with media present.
void ScanDrive(DiskInfo& disk) {
  StringBuf device(QZ_TEXT("\\\\.\\"));
  device.Append(disk.name);
  HANDLE handle = CreateFileW(device, 0, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                              OPEN_EXISTING, 0, nullptr);
  if (handle == INVALID_HANDLE_VALUE) return;
  DWORD returned = 0;
  const BOOL present = DeviceIoControl(handle, IOCTL_STORAGE_CHECK_VERIFY2, nullptr, 0, nullptr,
                                       0, &returned, nullptr);
  const DWORD error = GetLastError();
  CloseHandle(handle);
  if (!present && error != ERROR_MEDIA_CHANGED) return;
  StringBuf root(disk.name.ToString());
  root.Append(QZChar('\\'));
  ULARGE_INTEGER total;
  ULARGE_INTEGER free;
  if (GetDiskFreeSpaceExW(root, nullptr, &total, &free)) {
    disk.sizeMB = BytesToMiB(static_cast<uint64_t>(total.QuadPart));
    disk.freeMB = BytesToMiB(static_cast<uint64_t>(free.QuadPart));
  }
}

void ScanDrives(FactList<DiskInfo>& list) {
  const DWORD drives = GetLogicalDrives();
  for (int i = 0; i < 26; ++i) {
    if ((drives & (1u << i)) == 0) continue;
    list.push_back(std::make_unique<DiskInfo>());
    DiskInfo& disk = *list.back();
    disk.name.Append(static_cast<QZChar>(L'A' + i)).Append(QZChar(':'));
    ScanDrive(disk);
  }
}

void QueryDisks(FactList<DiskInfo>& list) {
  WMIQuery query;
  if (!query.Execute(QZ_TEXT(
          "SELECT Name, FileSystem, Size, FreeSpace, VolumeSerialNumber FROM Win32_LogicalDisk"))) {
    return;
  }
  while (query.Next()) {
    auto disk = std::make_unique<DiskInfo>();
    query.GetString(QZ_TEXT("Name"), disk->name);
    query.GetString(QZ_TEXT("FileSystem"), disk->fileSystem);
    disk->sizeMB = ReadMiB(query, QZ_TEXT("Size"));
    disk->freeMB = ReadMiB(query, QZ_TEXT("FreeSpace"));
    query.GetString(QZ_TEXT("VolumeSerialNumber"), disk->serial);
    list.push_back(std::move(disk));
  }
}

void QueryAdapterSpeeds(const StringBuf& hardwareAddress, NetworkAdapterInfo& adapter) {
  StringBuf wql(QZ_TEXT("SELECT Speed, MaxSpeed FROM Win32_NetworkAdapter Where MACAddress = '"));
  wql.Append(hardwareAddress).Append(QZChar('\''));
  WMIQuery query;
  if (!query.Execute(wql) || !query.Next()) return;
  StringBuf text;
  query.GetString(QZ_TEXT("Speed"), text);
  adapter.speedMbps = BitsPerSecondTextToMbps(text);
  query.GetString(QZ_TEXT("MaxSpeed"), text);
  adapter.maxSpeedMbps = BitsPerSecondTextToMbps(text);
}

}  // namespace

namespace testhooks {
GetUserNameFn SetGetUserName(GetUserNameFn fn) { return g_getUserName.exchange(fn); }
GetVolumeInformationFn SetGetVolumeInformation(GetVolumeInformationFn fn) {
  return g_getVolumeInformation.exchange(fn);
}
}  // namespace testhooks

void HashText(const QZChar* text, StringBuf& out) {
  out.Clear();
  HCRYPTPROV provider = 0;
  if (!CryptAcquireContextW(&provider, nullptr, nullptr, PROV_RSA_FULL, CRYPT_VERIFYCONTEXT)) {
    return;
  }
  HCRYPTHASH hash = 0;
  if (CryptCreateHash(provider, CALG_MD5, 0, 0, &hash)) {
    if (text == nullptr) text = QZ_TEXT("");
    // The UTF-16LE code units without the terminator: wchar_t is exactly that here.
    const DWORD bytes = static_cast<DWORD>(wcslen(text) * sizeof(wchar_t));
    BYTE digest[16];
    DWORD size = sizeof digest;
    if (CryptHashData(hash, reinterpret_cast<const BYTE*>(text), bytes, 0) &&
        CryptGetHashParam(hash, HP_HASHVAL, digest, &size, 0) && size == sizeof digest) {
      AppendUpperHex(digest, sizeof digest, out);
    }
    CryptDestroyHash(hash);
  }
  CryptReleaseContext(provider, 0);
}

void Win32Platform::DoGetOsInfo(OsInfo& info, bool fullData) {
  info.caption.Clear();
  info.installDate.Clear();
  info.productCode.Clear();
  info.language.Clear();
  info.spMajor = info.spMinor = 0;
  if (fullData) {
    WMIQuery query;
    if (query.Execute(QZ_TEXT("SELECT Caption, PlusProductID, ServicePackMajorVersion, "
                              "ServicePackMinorVersion, InstallDate FROM Win32_OperatingSystem")) &&
        query.Next()) {
      if (query.GetString(QZ_TEXT("Caption"), info.caption)) info.caption.Trim();
      query.GetString(QZ_TEXT("PlusProductID"), info.productCode);
      query.GetUInt32(QZ_TEXT("ServicePackMajorVersion"), info.spMajor);
      query.GetUInt32(QZ_TEXT("ServicePackMinorVersion"), info.spMinor);
      StringBuf date;
      if (query.GetString(QZ_TEXT("InstallDate"), date)) ConvertWmiDateTime(date, info.installDate);
    }
  }
  if (info.caption.StrLen() == 0) SetVersionName(info);
}

void Win32Platform::DoGetVideoInfo(VideoInfo& info, bool fullData) {
  info = VideoInfo();
  DISPLAY_DEVICEW device;
  ZeroMemory(&device, sizeof device);
  device.cb = sizeof device;
  if (EnumDisplayDevicesW(nullptr, 0, &device, EDD_GET_DEVICE_INTERFACE_NAME)) {
    SetField(info.name, device.DeviceString, ARRAYSIZE(device.DeviceString));
    wchar_t deviceName[ARRAYSIZE(device.DeviceName) + 1];
    wcsncpy(deviceName, device.DeviceName, ARRAYSIZE(device.DeviceName));
    deviceName[ARRAYSIZE(device.DeviceName)] = 0;
    DEVMODEW mode;
    ZeroMemory(&mode, sizeof mode);
    mode.dmSize = sizeof mode;
    if (EnumDisplaySettingsW(deviceName, ENUM_CURRENT_SETTINGS, &mode) && mode.dmBitsPerPel < 64) {
      info.colors = uint64_t{1} << mode.dmBitsPerPel;
    }
  }
  if (!fullData) return;
  WMIQuery query;
  if (!query.Execute(QZ_TEXT("SELECT AdapterRAM, DriverVersion FROM Win32_VideoController")) ||
      !query.Next()) {
    return;
  }
  if (query.GetUInt32(QZ_TEXT("AdapterRAM"), info.memoryMB)) info.memoryMB >>= 20;
  query.GetString(QZ_TEXT("DriverVersion"), info.driverVersion);
}

void Win32Platform::DoGetUserInfo(UserInfo& info, bool, bool omitPersonalInfo) {
  info.admin = false;
  if (omitPersonalInfo) {
    SetVolumeIdentifier(info.name);
    return;
  }
  DomainInfo domain;
  DoGetDomainInfo(domain, false, false);
  wchar_t user[257];
  DWORD size = ARRAYSIZE(user);
  if (!Hooked(g_getUserName, &::GetUserNameW)(user, &size)) user[0] = 0;
  StringBuf account;
  UserIdentityText(domain.domain, user, account);
  HashText(account, info.name);
}

void Win32Platform::DoGetTimeZoneInfo(TimeZoneInfo& info, bool) {
  TIME_ZONE_INFORMATION zone;
  const DWORD result = GetTimeZoneInformation(&zone);
  info.daylight = result == TIME_ZONE_ID_DAYLIGHT;
  // Without an answer there is no bias: report UTC rather than a guess.
  info.offsetMinutes = result == TIME_ZONE_ID_INVALID ? 0 : -zone.Bias;
}

void Win32Platform::DoGetPowerState(StringBuf& out, bool) { out.Clear(); }

void Win32Platform::DoGetSystemModel(SystemModelInfo& info, bool fullData) {
  info.manufacturer.Clear();
  info.model.Clear();
  if (!fullData) return;
  ReadFirstRow(QZ_TEXT("SELECT Manufacturer, Model FROM Win32_ComputerSystem"),
               QZ_TEXT("Manufacturer"), info.manufacturer, QZ_TEXT("Model"), info.model);
  info.manufacturer.Trim();
  info.model.Trim();
}

void Win32Platform::DoGetScreenInfo(ScreenInfo& info, bool) {
  DEVMODEW mode;
  ZeroMemory(&mode, sizeof mode);
  mode.dmSize = sizeof mode;
  if (EnumDisplaySettingsW(nullptr, ENUM_CURRENT_SETTINGS, &mode)) {
    SetField(info.deviceName, mode.dmDeviceName, ARRAYSIZE(mode.dmDeviceName));
    info.width = mode.dmPelsWidth;
    info.height = mode.dmPelsHeight;
    info.refresh = mode.dmDisplayFrequency;
    return;
  }
  info.deviceName.Clear();
  info.width = static_cast<uint32_t>(GetSystemMetrics(SM_CXSCREEN));
  info.height = static_cast<uint32_t>(GetSystemMetrics(SM_CYSCREEN));
  info.refresh = 0;
}

void Win32Platform::DoGetNetworkAdapters(FactList<NetworkAdapterInfo>& list, bool fullData,
                                         bool omitPersonalInfo) {
  list.clear();
  ULONG size = sizeof(IP_ADAPTER_INFO);
  std::unique_ptr<BYTE[]> buffer(new (std::nothrow) BYTE[size]);
  if (!buffer) return;
  DWORD result = GetAdaptersInfo(reinterpret_cast<IP_ADAPTER_INFO*>(buffer.get()), &size);
  if (result == ERROR_BUFFER_OVERFLOW) {
    buffer.reset(new (std::nothrow) BYTE[size]);
    if (!buffer) return;
    result = GetAdaptersInfo(reinterpret_cast<IP_ADAPTER_INFO*>(buffer.get()), &size);
  }
  if (result != NO_ERROR) return;
  for (const IP_ADAPTER_INFO* a = reinterpret_cast<const IP_ADAPTER_INFO*>(buffer.get());
       a != nullptr; a = a->Next) {
    list.push_back(std::make_unique<NetworkAdapterInfo>());
    NetworkAdapterInfo& adapter = *list.back();
    StringBuf hardwareAddress;
    FormatHardwareAddress(a->Address, a->AddressLength, hardwareAddress);
    if (omitPersonalInfo) {
      adapter.ipAddress = QZ_TEXT("0.0.0.0");
    } else {
      SetAnsiField(adapter.description, a->Description, sizeof a->Description);
      SetAnsiField(adapter.ipAddress, a->IpAddressList.IpAddress.String,
                   sizeof a->IpAddressList.IpAddress.String);
      adapter.macAddress = hardwareAddress;
    }
    adapter.dhcp = a->DhcpEnabled != 0;
    // The address only selects the row; it is not reported when omitted.
    if (fullData && hardwareAddress.StrLen() > 0) QueryAdapterSpeeds(hardwareAddress, adapter);
  }
}

void Win32Platform::DoGetMemoryUse(MemoryUseInfo& info) {
  info = MemoryUseInfo();
  HANDLE process = OpenProcess(PROCESS_QUERY_INFORMATION | PROCESS_VM_READ, FALSE,
                               GetCurrentProcessId());
  if (process != nullptr) {
    PROCESS_MEMORY_COUNTERS counters;
    ZeroMemory(&counters, sizeof counters);
    if (GetProcessMemoryInfo(process, &counters, sizeof counters)) {
      info.usedMB = static_cast<uint32_t>(BytesToMiB(uint64_t{counters.PagefileUsage}));
    }
    CloseHandle(process);
  }
  MEMORYSTATUSEX status;
  ZeroMemory(&status, sizeof status);
  status.dwLength = sizeof status;
  if (GlobalMemoryStatusEx(&status)) {
    info.availableMB = static_cast<uint32_t>(BytesToMiB(uint64_t{status.ullAvailPageFile}));
  }
}

void Win32Platform::DoGetMemoryInfo(MemoryInfo& info, bool fullData) {
  info = MemoryInfo();
  if (!fullData) return;
  {
    WMIQuery modules;
    if (modules.Execute(QZ_TEXT("SELECT Capacity, Speed FROM Win32_PhysicalMemory"))) {
      while (modules.Next()) {
        info.capacityMB += ReadMiB(modules, QZ_TEXT("Capacity"));
        uint32_t speed = 0;
        if (modules.GetUInt32(QZ_TEXT("Speed"), speed) && speed > info.speed) info.speed = speed;
      }
    }
  }
  WMIQuery system;
  if (system.Execute(QZ_TEXT("SELECT TotalPhysicalMemory FROM Win32_ComputerSystem")) &&
      system.Next()) {
    info.totalMB = ReadMiB(system, QZ_TEXT("TotalPhysicalMemory"));
  }
}

void Win32Platform::DoGetHostInfo(HostInfo& info, bool omitPersonalInfo) {
  info.name.Clear();
  info.ipAddress.Clear();
  if (omitPersonalInfo) {
    info.name = QZ_TEXT("N/A");
    info.ipAddress = QZ_TEXT("0.0.0.0");
  } else {
    StringBuf computer;
    if (ReadComputerName(computer)) {
      HashText(computer, info.name);
      if (computer.StrLen() > 0) SetHostAddress(computer, info.ipAddress);
    }
  }
  SetLocaleName(info.locale);
  info.virtualized = false;
  info.srcLang = QZ_TEXT("MSC");
  info.srcLangVer = QZ_TEXT("160030319");
}

void Win32Platform::DoGetDomainInfo(DomainInfo& info, bool, bool) {
  info.partOfDomain = false;
  info.domain.Clear();
  info.role.Clear();
  WMIQuery query;
  if (!query.Execute(QZ_TEXT("SELECT PartOfDomain, Domain, DomainRole FROM Win32_ComputerSystem")) ||
      !query.Next() || !query.GetBool(QZ_TEXT("PartOfDomain"), info.partOfDomain)) {
    return;
  }
  // A workgroup's name when the machine is in no domain.
  query.GetString(QZ_TEXT("Domain"), info.domain);
  info.domain.ToLowercase();
  uint32_t role = 0;
  if (query.GetUInt32(QZ_TEXT("DomainRole"), role)) info.role.Append(role, 10);
}

void Win32Platform::DoGetDisks(FactList<DiskInfo>& list, bool fullData) {
  if (fullData) {
    QueryDisks(list);
  } else {
    ScanDrives(list);
  }
}

uint32_t Win32Platform::DoGetCpuLoad() {
  std::vector<uint32_t> loads;
  WMIQuery query;
  if (query.Execute(QZ_TEXT("SELECT LoadPercentage FROM Win32_Processor"))) {
    while (query.Next()) {
      uint32_t load = 0;
      if (query.GetUInt32(QZ_TEXT("LoadPercentage"), load)) loads.push_back(load);
    }
  }
  return AverageLoad(loads.data(), loads.size());
}

void Win32Platform::DoGetProcessors(FactList<CpuInfo>& list, bool fullData) {
  if (!fullData) return;
  WMIQuery query;
  if (!query.Execute(QZ_TEXT("SELECT DeviceId, Manufacturer, AddressWidth, CurrentClockSpeed, "
                             "MaxClockSpeed FROM Win32_Processor"))) {
    return;
  }
  for (uint32_t index = 0; query.Next(); ++index) {
    auto cpu = std::make_unique<CpuInfo>();
    const bool named = query.GetString(QZ_TEXT("DeviceId"), cpu->name);
    query.GetString(QZ_TEXT("Manufacturer"), cpu->manufacturer);
    NameProcessor(*cpu, named, index);
    query.GetUInt32(QZ_TEXT("AddressWidth"), cpu->addressWidth);
    query.GetUInt32(QZ_TEXT("CurrentClockSpeed"), cpu->currentSpeed);
    query.GetUInt32(QZ_TEXT("MaxClockSpeed"), cpu->maxSpeed);
    list.push_back(std::move(cpu));
  }
}

void Win32Platform::DoGetTerminalServicesInfo(TerminalServicesInfo& info, bool) {
  info.connectionsAllowed = false;
  info.licensingName.Clear();
  // No setting at all differs from a setting whose mode cannot be read (0).
  info.mode = 0xFFFFFFFFu;
  WMIQuery query;
  if (!query.Execute(QZ_TEXT("SELECT AllowTSConnections, LicensingName, TerminalServerMode "
                             "FROM Win32_TerminalServiceSetting")) ||
      !query.Next()) {
    return;
  }
  query.GetBool(QZ_TEXT("AllowTSConnections"), info.connectionsAllowed);
  query.GetString(QZ_TEXT("LicensingName"), info.licensingName);
  query.GetUInt32(QZ_TEXT("TerminalServerMode"), info.mode);
}

void Win32Platform::DoGetSoundDevice(DeviceInfo& info, bool) {
  ReadFirstRow(QZ_TEXT("SELECT Manufacturer, ProductName FROM Win32_SoundDevice"),
               QZ_TEXT("Manufacturer"), info.first, QZ_TEXT("ProductName"), info.second);
}

void Win32Platform::DoGetModem(DeviceInfo& info, bool) {
  ReadFirstRow(QZ_TEXT("SELECT Model, DeviceType FROM Win32_POTSModem"), QZ_TEXT("Model"),
               info.first, QZ_TEXT("DeviceType"), info.second);
}

void Win32Platform::DoGetPageFiles(FactList<PageFileInfo>& list, bool) {
  list.clear();
  WMIQuery query;
  if (!query.Execute(QZ_TEXT("SELECT Name, InitialSize, MaximumSize FROM Win32_PageFile"))) return;
  while (query.Next()) {
    auto file = std::make_unique<PageFileInfo>();
    query.GetString(QZ_TEXT("Name"), file->name);
    query.GetUInt32(QZ_TEXT("InitialSize"), file->initialSize);
    query.GetUInt32(QZ_TEXT("MaximumSize"), file->maximumSize);
    list.push_back(std::move(file));
  }
}

}  // namespace qz
