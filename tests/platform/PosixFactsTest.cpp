// The Linux platform's facts as this machine gives them: only what holds on
// any machine is checked; the file formats are PosixFactFilesTest's.
#include <gtest/gtest.h>

#include <stdlib.h>
#include <time.h>

#include <regex>
#include <string>

#include "platform/FactRules.h"
#include "platform/Platform.h"
#include "support/TestText.h"

namespace qz {
namespace {

using test::U8;

std::string Text(const StringBuf& s) { return U8(s.ToString()); }

bool IsDigest(const StringBuf& s) {
  return std::regex_match(Text(s), std::regex("[0-9A-F]{32}"));
}

TEST(PosixFactsTest, OmittingPersonalInfoLeavesNoNameOrAddress) {
  HostInfo host;
  Platform::GetHostInfo(host, true);
  EXPECT_EQ("N/A", Text(host.name));
  EXPECT_EQ("0.0.0.0", Text(host.ipAddress));
  EXPECT_FALSE(host.virtualized);
  EXPECT_NE("", Text(host.srcLang));

  // The machine's identifier: the same for every call (and user), or N/A.
  UserInfo first;
  UserInfo second;
  Platform::GetUserInfo(first, false, true);
  Platform::GetUserInfo(second, true, true);
  EXPECT_TRUE(IsDigest(first.name) || Text(first.name) == "N/A") << Text(first.name);
  EXPECT_EQ(Text(first.name), Text(second.name));
  EXPECT_FALSE(first.admin);

  FactList<NetworkAdapterInfo> adapters;
  Platform::GetNetworkAdapters(adapters, true, true);
  for (const auto& adapter : adapters) {
    EXPECT_EQ("0.0.0.0", Text(adapter->ipAddress));
    EXPECT_EQ("", Text(adapter->description));
    EXPECT_EQ("", Text(adapter->macAddress));
  }

  // Otherwise both identities are digests, never names.
  Platform::GetHostInfo(host, false);
  Platform::GetUserInfo(first, false, false);
  EXPECT_TRUE(IsDigest(host.name)) << Text(host.name);
  EXPECT_TRUE(IsDigest(first.name)) << Text(first.name);
}

TEST(PosixFactsTest, TimeZoneIsTheStandardOffset) {
  const char* saved = getenv("TZ");
  const std::string previous = saved != nullptr ? saved : "";
  // Between them one of the two zones is on daylight-saving time on any date.
  const struct {
    const char* zone;
    int32_t offsetMinutes;
  } cases[] = {{"UTC0", 0}, {"EST5EDT,M3.2.0,M11.1.0", -300},
               {"AEST-10AEDT,M10.1.0,M4.1.0/3", 600}, {"IST-5:30", 330}};
  for (const auto& c : cases) {
    setenv("TZ", c.zone, 1);
    tzset();
    TimeZoneInfo info;
    Platform::GetTimeZoneInfo(info, false);
    const time_t now = time(nullptr);
    tm local;
    ASSERT_NE(nullptr, localtime_r(&now, &local));
    EXPECT_EQ(c.offsetMinutes, info.offsetMinutes) << c.zone;
    EXPECT_EQ(local.tm_isdst > 0, info.daylight) << c.zone;
  }
  if (saved != nullptr) {
    setenv("TZ", previous.c_str(), 1);
  } else {
    unsetenv("TZ");
  }
  tzset();
}

TEST(PosixFactsTest, ThisMachineGivesPlausibleFacts) {
  MemoryUseInfo use;
  Platform::GetMemoryUse(use);
  EXPECT_GT(use.usedMB, 0u);  // this test program's own memory
  EXPECT_GT(use.availableMB, 0u);

  OsInfo os;
  Platform::GetOsInfo(os, true);
  EXPECT_NE("", Text(os.caption));

  FactList<CpuInfo> cpus;
  Platform::GetProcessors(cpus, false);
  EXPECT_TRUE(cpus.empty());
  Platform::GetProcessors(cpus, true);
  ASSERT_FALSE(cpus.empty());
  EXPECT_EQ("cpu0", Text(cpus[0]->name));
  EXPECT_EQ(sizeof(void*) * 8, cpus[0]->addressWidth);

  FactList<DiskInfo> disks;
  Platform::GetDisks(disks, false);
  int roots = 0;
  for (const auto& disk : disks) {
    if (Text(disk->name) != "/") continue;
    ++roots;
    EXPECT_GT(disk->sizeMB, 0u);
    EXPECT_EQ("", Text(disk->fileSystem));  // only with full data
  }
  EXPECT_EQ(1, roots);

  TerminalServicesInfo terminal;
  Platform::GetTerminalServicesInfo(terminal, true);
  EXPECT_EQ(TerminalServicesInfo::MODE_UNKNOWN, terminal.mode);
  EXPECT_LE(Platform::GetCpuLoad(), 100u);
}

}  // namespace
}  // namespace qz
