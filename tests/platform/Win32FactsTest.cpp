#include <windows.h>

#include <gtest/gtest.h>

#include <cwchar>
#include <regex>
#include <string>

#include "platform/FactRules.h"
#include "platform/Platform.h"
#include "platform/WMIQueryWin32.h"
#include "platform/Win32Platform.h"
#include "support/TestText.h"

namespace qz {
namespace {

using test::U8;

// Installs a test hook for one scope and puts back the one it replaced.
template <typename Fn>
class ScopedHook {
 public:
  ScopedHook(Fn (*set)(Fn), Fn fn) : set_(set), saved_(set(fn)) {}
  ~ScopedHook() { set_(saved_); }

 private:
  Fn (*set_)(Fn);
  Fn saved_;
};

std::string Hash(const QZChar* text) {
  StringBuf out;
  HashText(text, out);
  return U8(out);
}

BOOL WINAPI UserJdoe(LPWSTR name, LPDWORD size) {
  wcscpy(name, L"jdoe");
  *size = 5;
  return TRUE;
}

// Wine's Win32_ComputerSystem has a row but no domain membership.
bool InDomainCorp(const QZChar* query, const QZChar* property, VARIANT* value) {
  if (wcsstr(query, L"Win32_ComputerSystem") == nullptr) return false;
  if (wcscmp(property, L"PartOfDomain") == 0) {
    V_VT(value) = VT_BOOL;
    V_BOOL(value) = VARIANT_TRUE;
    return true;
  }
  if (wcscmp(property, L"Domain") == 0) {
    V_VT(value) = VT_BSTR;
    V_BSTR(value) = SysAllocString(L"CORP");
    return true;
  }
  return false;
}

TEST(Win32FactsTest, UserIsTheHashOfLowerCaseDomainAndUserName) {
  ScopedHook<testhooks::WmiValueFn> domain(&testhooks::SetWmiValue, &InDomainCorp);
  DomainInfo info;
  Platform::GetDomainInfo(info, false, false);
  EXPECT_TRUE(info.partOfDomain);
  EXPECT_EQ("corp", U8(info.domain));

  ScopedHook<testhooks::GetUserNameFn> name(&testhooks::SetGetUserName, &UserJdoe);
  UserInfo user;
  user.admin = true;
  Platform::GetUserInfo(user, true, false);
  EXPECT_EQ(Hash(QZ_TEXT("corp\\jdoe")), U8(user.name));
  EXPECT_FALSE(user.admin);
}

BOOL WINAPI SerialOnDriveE(LPCWSTR root, LPWSTR, DWORD, LPDWORD serial, LPDWORD, LPDWORD, LPWSTR,
                           DWORD) {
  if (wcscmp(root, L"E:\\") != 0) return FALSE;
  *serial = 0x00ABCDEF;
  return TRUE;
}

BOOL WINAPI NoVolume(LPCWSTR, LPWSTR, DWORD, LPDWORD, LPDWORD, LPDWORD, LPWSTR, DWORD) {
  SetLastError(ERROR_NOT_READY);
  return FALSE;
}

TEST(Win32FactsTest, OmittingPersonalInfoLeavesOnlyNeutralValues) {
  HostInfo host;
  Platform::GetHostInfo(host, false);
  EXPECT_TRUE(std::regex_match(U8(host.name), std::regex("[0-9A-F]{32}"))) << U8(host.name);
  EXPECT_TRUE(std::regex_match(U8(host.locale), std::regex("[a-z]+(_[A-Za-z0-9]+)*")))
      << U8(host.locale);
  Platform::GetHostInfo(host, true);
  EXPECT_EQ("N/A", U8(host.name));
  EXPECT_EQ("0.0.0.0", U8(host.ipAddress));
  EXPECT_EQ("MSC", U8(host.srcLang));

  UserInfo user;
  {
    ScopedHook<testhooks::GetVolumeInformationFn> volume(&testhooks::SetGetVolumeInformation,
                                                         &SerialOnDriveE);
    Platform::GetUserInfo(user, false, true);
  }
  EXPECT_EQ(Hash(QZ_TEXT("abcdef")), U8(user.name));  // lower case, no leading zeros
  {
    ScopedHook<testhooks::GetVolumeInformationFn> volume(&testhooks::SetGetVolumeInformation,
                                                         &NoVolume);
    Platform::GetUserInfo(user, false, true);
  }
  EXPECT_EQ("N/A", U8(user.name));

  FactList<NetworkAdapterInfo> named;
  Platform::GetNetworkAdapters(named, false, false);
  FactList<NetworkAdapterInfo> adapters;
  Platform::GetNetworkAdapters(adapters, true, true);
  EXPECT_EQ(named.size(), adapters.size());
  for (const auto& a : adapters) {
    EXPECT_EQ("0.0.0.0", U8(a->ipAddress));
    EXPECT_EQ("", U8(a->description));
    EXPECT_EQ("", U8(a->macAddress));
  }
}

TEST(Win32FactsTest, WithoutFullDataOnlyTheSystemCallFactsAreFilled) {
  FactList<CpuInfo> cpus;
  Platform::GetProcessors(cpus, false);
  EXPECT_TRUE(cpus.empty());
  MemoryInfo memory;
  memory.totalMB = 1;
  Platform::GetMemoryInfo(memory, false);
  EXPECT_EQ(0u, memory.totalMB + memory.capacityMB + memory.speed);
  OsInfo os;
  Platform::GetOsInfo(os, false);
  EXPECT_TRUE(os.caption.StartsWith(QZ_TEXT("Microsoft Windows "))) << U8(os.caption);
  EXPECT_EQ("", U8(os.installDate));

  ScreenInfo screen;
  Platform::GetScreenInfo(screen, false);
  EXPECT_GT(screen.width, 0u);
  EXPECT_GT(screen.height, 0u);
  MemoryUseInfo use;
  Platform::GetMemoryUse(use);
  EXPECT_GT(use.availableMB, 0u);
  FactList<DiskInfo> disks;
  Platform::GetDisks(disks, false);
  ASSERT_FALSE(disks.empty());
  EXPECT_EQ("C:", U8(disks[0]->name));
  for (const auto& d : disks) {
    EXPECT_TRUE(std::regex_match(U8(d->name), std::regex("[A-Z]:")));
    EXPECT_EQ("", U8(d->fileSystem));
    EXPECT_LE(d->freeMB, d->sizeMB);
  }
}

TEST(Win32FactsTest, FullDataReadsWmi) {
  FactList<CpuInfo> cpus;
  Platform::GetProcessors(cpus, true);
  ASSERT_FALSE(cpus.empty());
  for (const auto& c : cpus) EXPECT_GT(c->name.StrLen(), 0u);
  MemoryInfo memory;
  Platform::GetMemoryInfo(memory, true);
  EXPECT_GT(memory.capacityMB, 0u);
  EXPECT_GT(memory.totalMB, 0u);
  FactList<DiskInfo> disks;
  Platform::GetDisks(disks, true);
  ASSERT_FALSE(disks.empty());
  EXPECT_EQ("C:", U8(disks[0]->name));
  EXPECT_GT(disks[0]->fileSystem.StrLen(), 0u);
  EXPECT_GT(disks[0]->sizeMB, 0u);
  EXPECT_LE(disks[0]->freeMB, disks[0]->sizeMB);

  WMIQuery query;
  StringBuf caption;
  ASSERT_TRUE(query.Execute(QZ_TEXT("SELECT Caption FROM Win32_OperatingSystem")) &&
              query.Next() && query.GetString(QZ_TEXT("Caption"), caption));
  OsInfo os;
  Platform::GetOsInfo(os, true);
  EXPECT_EQ(U8(caption.Trim()), U8(os.caption));
  EXPECT_TRUE(std::regex_match(U8(os.installDate),
                               std::regex("\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d(Z|[+-]\\d\\d:\\d\\d)")))
      << U8(os.installDate);
}

// Classes that Wine gives no rows keep the neutral values.
TEST(Win32FactsTest, ClassesWithoutRowsKeepNeutralValues) {
  TerminalServicesInfo terminal;
  terminal.connectionsAllowed = true;
  Platform::GetTerminalServicesInfo(terminal, false);
  EXPECT_EQ(0xFFFFFFFFu, terminal.mode);
  EXPECT_FALSE(terminal.connectionsAllowed);
  FactList<PageFileInfo> pageFiles;
  pageFiles.push_back(std::make_unique<PageFileInfo>());
  Platform::GetPageFiles(pageFiles, false);
  EXPECT_TRUE(pageFiles.empty());
}

// Loads that Wine does not report, and processors without a device id.
bool LoadTwentyNoDeviceId(const QZChar* query, const QZChar* property, VARIANT* value) {
  if (wcsstr(query, L"Win32_Processor") == nullptr) return false;
  if (wcscmp(property, L"LoadPercentage") == 0) {
    V_VT(value) = VT_I4;
    V_I4(value) = 20;
    return true;
  }
  if (wcscmp(property, L"DeviceId") == 0) {
    V_VT(value) = VT_NULL;
    return true;
  }
  return false;
}

TEST(Win32FactsTest, ProcessorRowsGiveLoadAndIndexNames) {
  ScopedHook<testhooks::WmiValueFn> fake(&testhooks::SetWmiValue, &LoadTwentyNoDeviceId);
  EXPECT_EQ(20u, Platform::GetCpuLoad());
  FactList<CpuInfo> cpus;
  cpus.push_back(std::make_unique<CpuInfo>());  // appended to, not replaced
  Platform::GetProcessors(cpus, true);
  ASSERT_GE(cpus.size(), 2u);
  for (size_t i = 1; i < cpus.size(); ++i) {
    EXPECT_EQ("cpu" + std::to_string(i - 1), U8(cpus[i]->name));
  }
}

}  // namespace
}  // namespace qz
