// The Linux platform's facts as this machine gives them: only what holds on
// any machine is checked; the file formats are PosixFactFilesTest's.
#include <gtest/gtest.h>

#include <stdlib.h>
#include <time.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <regex>
#include <string>

#include "platform/FactRules.h"
#include "platform/Platform.h"
#include "platform/PosixFactFiles.h"
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

  // The machine's identifier never leaves as it is, nor as its plain digest.
  std::ifstream file("/etc/machine-id");
  std::string id;
  if (std::getline(file, id) && IsMachineId(id)) {
    StringBuf keyed;
    AnonymousMachineIdentity(id, keyed);
    EXPECT_EQ(Text(keyed), Text(first.name));
  }

  // Otherwise both identities are digests, never names, and the host's
  // address is not loopback (here the host name resolves to 127.0.0.1).
  Platform::GetHostInfo(host, false);
  Platform::GetUserInfo(first, false, false);
  EXPECT_TRUE(IsDigest(host.name)) << Text(host.name);
  EXPECT_TRUE(IsDigest(first.name)) << Text(first.name);
  EXPECT_TRUE(std::regex_match(Text(host.ipAddress), std::regex("[0-9]+(\\.[0-9]+){3}")))
      << Text(host.ipAddress);
  EXPECT_NE(0u, Text(host.ipAddress).find("127.")) << Text(host.ipAddress);
}

// TZ for the life of the object.
class TimeZoneScope {
 public:
  TimeZoneScope() : saved(getenv("TZ") != nullptr), previous(saved ? getenv("TZ") : "") {}
  ~TimeZoneScope() {
    if (saved) {
      setenv("TZ", previous.c_str(), 1);
    } else {
      unsetenv("TZ");
    }
    tzset();
  }
  void Use(const std::string& zone) {
    setenv("TZ", zone.c_str(), 1);
    tzset();
  }

 private:
  bool saved;
  std::string previous;
};

time_t MiddayUtc(int year, int month, int day) {
  tm t = {};
  t.tm_year = year - 1900;
  t.tm_mon = month - 1;
  t.tm_mday = day;
  t.tm_hour = 12;
  return timegm(&t);
}

long OffsetAt(time_t when) {
  tm local = {};
  localtime_r(&when, &local);
  return local.tm_gmtoff;
}

TEST(PosixFactsTest, EveryTimeZoneHasItsStandardOffsetAsWindowsDefinesIt) {
  TimeZoneScope scope;
  const time_t winter = MiddayUtc(2025, 1, 15);
  const time_t summer = MiddayUtc(2025, 7, 15);
  const struct {
    const char* zone;
    int32_t offsetMinutes;
    bool daylightInJanuary;
    bool daylightInJuly;
  } named[] = {
      {"Europe/Dublin", 0, false, true},  // its data marks winter time as daylight saving
      // +01 all year but for a month around Ramadan at +00.
      {"Africa/Casablanca", 0, true, true},
      {"Africa/El_Aaiun", 0, true, true},
      {"Africa/Windhoek", 120, false, false},  // winter time abolished in 2017
      {"Australia/Lord_Howe", 630, true, false},  // half an hour of daylight saving
      {"Pacific/Chatham", 765, true, false},
      {"Asia/Kolkata", 330, false, false},
      {"America/New_York", -300, false, true},
      {"EST5EDT,M3.2.0,M11.1.0", -300, false, true},  // a rule of TZ itself, no file
      {"<+0930>-9:30<+1030>,M10.1.0,M4.1.0/3", 570, true, false},
  };
  for (const auto& c : named) {
    scope.Use(c.zone);
    TimeZoneInfo january;
    TimeZoneInfo july;
    LocalTimeZoneAt(winter, january);
    LocalTimeZoneAt(summer, july);
    EXPECT_EQ(c.offsetMinutes, january.offsetMinutes) << c.zone;
    EXPECT_EQ(c.offsetMinutes, july.offsetMinutes) << c.zone;
    EXPECT_EQ(c.daylightInJanuary, january.daylight) << c.zone;
    EXPECT_EQ(c.daylightInJuly, july.daylight) << c.zone;
  }

  // Every other zone of the system's data: in 2025 the lower of the January
  // and July offsets is the lowest of the year (Morocco's are named above).
  const std::filesystem::path root = "/usr/share/zoneinfo";
  int zones = 0;
  for (auto i = std::filesystem::recursive_directory_iterator(root);
       i != std::filesystem::recursive_directory_iterator(); ++i) {
    const std::string name = i->path().lexically_relative(root).string();
    if (i->is_directory() && (name == "posix" || name == "right")) {
      i.disable_recursion_pending();  // the same zones again
      continue;
    }
    char magic[4] = {};
    std::ifstream file(i->path(), std::ios::binary);
    if (!i->is_regular_file() || !file.read(magic, 4) || std::string(magic, 4) != "TZif" ||
        name == "localtime" || name == "posixrules" || name.rfind("Africa/Casablanca", 0) == 0 ||
        name.rfind("Africa/El_Aaiun", 0) == 0) {
      continue;
    }
    scope.Use(name);
    ++zones;
    const long standard = std::min(OffsetAt(winter), OffsetAt(summer));
    for (time_t when : {winter, summer}) {
      TimeZoneInfo info;
      LocalTimeZoneAt(when, info);
      EXPECT_EQ(standard / 60, info.offsetMinutes) << name;
      EXPECT_EQ(OffsetAt(when) != standard, info.daylight) << name;
    }
  }
  EXPECT_GT(zones, 300);

  // What the platform reports is the same rule now.
  scope.Use("Europe/Dublin");
  TimeZoneInfo now;
  TimeZoneInfo expected;
  Platform::GetTimeZoneInfo(now, true);
  LocalTimeZoneAt(time(nullptr), expected);
  EXPECT_EQ(0, now.offsetMinutes);
  EXPECT_EQ(expected.daylight, now.daylight);
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
