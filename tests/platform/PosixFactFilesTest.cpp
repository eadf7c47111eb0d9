// The Linux fact sources, fed recorded files.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/PosixFactFiles.h"
#include "support/TestText.h"

namespace qz {
namespace {

using test::U8;

std::string Text(const StringBuf& s) { return U8(s.ToString()); }

TEST(PosixFactFilesTest, ProcStatFirstLineGivesTheProcessorTicks) {
  // Busy: user, nice, system, irq, softirq, steal; idle and iowait are not.
  ProcessorTicks ticks;
  ASSERT_TRUE(ParseProcessorTicks("cpu  300 10 90 1500 100 4 6 20 7 0\n"
                                  "cpu0 100 0 50 800 50 0 0 0 0 0\nintr 1234 0 0\n",
                                  ticks));
  EXPECT_EQ(430u, ticks.busy);
  EXPECT_EQ(2030u, ticks.total);
  // Kernels before 2.6 have four numbers.
  ASSERT_TRUE(ParseProcessorTicks("cpu 5 0 5 90\n", ticks));
  EXPECT_EQ(10u, ticks.busy);
  EXPECT_EQ(100u, ticks.total);
  // A line cut off by the buffer, a processor of its own first, too few numbers.
  for (const char* text : {"cpu  300 10 90 1500 10", "cpu0 1 2 3 4\n", "cpu  1 2 3\n", "", "cpu"}) {
    EXPECT_FALSE(ParseProcessorTicks(text, ticks)) << text;
  }
}

TEST(PosixFactFilesTest, MeminfoStatusAndStatmGiveKilobytes) {
  const char meminfo[] =
      "MemTotal:       16318412 kB\nMemFree:         1000000 kB\n"
      "MemAvailable:    8388608 kB\nSwapTotal:       2097152 kB\nSwapFree:        1048576 kB\n";
  EXPECT_EQ(8388608u + 1048576u, AvailableKilobytes(meminfo));
  EXPECT_TRUE(SwapInUse(meminfo));
  // Older kernels estimate nothing: free memory and caches; no swap at all.
  const char old[] =
      "MemTotal: 4194304 kB\nMemFree: 1048576 kB\nBuffers: 524288 kB\nCached: 524288 kB\n";
  EXPECT_EQ(2097152u, AvailableKilobytes(old));
  EXPECT_FALSE(SwapInUse(old));
  EXPECT_FALSE(SwapInUse("SwapTotal: 2048 kB\nSwapFree: 2048 kB\n"));
  EXPECT_EQ(0u, AvailableKilobytes(""));

  uint64_t kilobytes = 7;
  EXPECT_TRUE(FindKilobytes("Name:\tqz\nVmSwap:\t    2048 kB\n", "VmSwap", kilobytes));
  EXPECT_EQ(2048u, kilobytes);
  // A key that only starts the same, and a last line the buffer cut off.
  EXPECT_FALSE(FindKilobytes("VmSwapX:\t1 kB\nVmSwap:\t    20", "VmSwap", kilobytes));
  EXPECT_EQ(2048u, kilobytes);

  // 4 KiB pages: 1200 resident, 400 of them file-backed or shared.
  EXPECT_TRUE(AnonymousKilobytes("20000 1200 400 30 0 5000 0\n", 4096, kilobytes));
  EXPECT_EQ(3200u, kilobytes);
  EXPECT_TRUE(AnonymousKilobytes("20000 300 400 30 0 5000 0\n", 4096, kilobytes));
  EXPECT_EQ(0u, kilobytes);  // read a moment apart, shared can pass resident
  EXPECT_FALSE(AnonymousKilobytes("20000 1200", 4096, kilobytes));
}

TEST(PosixFactFilesTest, CpuinfoGivesOneProcessorPerPackage) {
  const char two[] =
      "processor\t: 0\nvendor_id\t: GenuineIntel\nmodel name\t: Intel(R) Xeon(R) CPU E5-2680\n"
      "cpu MHz\t\t: 2700.123\nphysical id\t: 0\n\n"
      "processor\t: 1\nvendor_id\t: GenuineIntel\nmodel name\t: Intel(R) Xeon(R) CPU E5-2680\n"
      "cpu MHz\t\t: 1200.000\nphysical id\t: 0\n\n"
      "processor\t: 2\nvendor_id\t: AuthenticAMD\nmodel name\t: AMD EPYC\n"
      "cpu MHz\t\t: 2096.033\nphysical id\t: 1\n\n"
      "processor\t: 3\nvendor_id\t: AuthenticAMD\nphysical id\t: 1\n";
  FactList<CpuInfo> list;
  std::vector<uint32_t> first;
  ParseCpuInfo(two, 64, list, first);
  ASSERT_EQ(2u, list.size());
  EXPECT_EQ((std::vector<uint32_t>{0, 2}), first);
  EXPECT_EQ("cpu0", Text(list[0]->name));
  EXPECT_EQ("Intel", Text(list[0]->manufacturer));
  EXPECT_EQ("Intel(R) Xeon(R) CPU E5-2680", Text(list[0]->model));
  EXPECT_EQ(2700u, list[0]->currentSpeed);
  EXPECT_EQ(64u, list[0]->addressWidth);
  EXPECT_EQ("cpu1", Text(list[1]->name));
  EXPECT_EQ("AuthenticAMD", Text(list[1]->manufacturer));
  EXPECT_EQ(2096u, list[1]->currentSpeed);

  // Processors that name no package (as on many ARM kernels) are one package.
  FactList<CpuInfo> arm;
  first.clear();
  ParseCpuInfo("processor\t: 0\nBogoMIPS\t: 48.00\n\nprocessor\t: 1\nBogoMIPS\t: 48.00\n", 64, arm,
               first);
  ASSERT_EQ(1u, arm.size());
  EXPECT_EQ("cpu0", Text(arm[0]->name));
  EXPECT_EQ("", Text(arm[0]->manufacturer));
}

TEST(PosixFactFilesTest, SwapsGivePageFiles) {
  FactList<PageFileInfo> list;
  ParseSwaps("Filename\t\t\t\tType\t\tSize\t\tUsed\t\tPriority\n"
             "/dev/sda2                               partition\t8388604\t\t0\t\t-2\n"
             "/swap\\040file                           file\t\t1048576\t\t512\t\t-3\n",
             list);
  ASSERT_EQ(2u, list.size());
  EXPECT_EQ("/dev/sda2", Text(list[0]->name));
  EXPECT_EQ(8191u, list[0]->initialSize);
  EXPECT_EQ(8191u, list[0]->maximumSize);
  EXPECT_EQ("/swap file", Text(list[1]->name));
  EXPECT_EQ(1024u, list[1]->maximumSize);
  FactList<PageFileInfo> none;
  ParseSwaps("Filename\t\t\t\tType\t\tSize\t\tUsed\t\tPriority\n", none);
  EXPECT_TRUE(none.empty());
}

TEST(PosixFactFilesTest, OsReleaseGivesTheCaption) {
  const struct {
    const char* text;
    bool found;
    const char* caption;
  } cases[] = {
      {"NAME=\"Debian GNU/Linux\"\nPRETTY_NAME=\"Debian GNU/Linux 12 (bookworm)\"\nID=debian\n",
       true, "Debian GNU/Linux 12 (bookworm)"},
      {"# comment\nNAME='Fedora Linux'\nVERSION=\"39 (Thirty \\\"Nine\\\")\"\n", true,
       "Fedora Linux 39 (Thirty \"Nine\")"},
      {"NAME=Alpine\n", true, "Alpine"},
      {"ID=unknown\n", false, ""}};
  for (const auto& c : cases) {
    StringBuf caption;
    EXPECT_EQ(c.found, OsReleaseCaption(c.text, caption)) << c.text;
    EXPECT_EQ(c.caption, Text(caption));
  }
}

TEST(PosixFactFilesTest, LocaleFromTheUsersSettings) {
  const struct {
    const char* lcAll;
    const char* lcMessages;
    const char* lang;
    const char* expected;
  } cases[] = {{nullptr, nullptr, "en_US.UTF-8", "en_US"},
               {"", "fr_CA.ISO-8859-1", "en_US.UTF-8", "fr_CA"},
               {"de_DE@euro", "fr_CA", "en_US", "de_DE"},
               {nullptr, nullptr, "C.UTF-8", ""},
               {"POSIX", nullptr, "en_US", ""},
               {nullptr, nullptr, nullptr, ""}};
  for (const auto& c : cases) {
    StringBuf out(QZ_TEXT("old"));
    LocaleName(c.lcAll, c.lcMessages, c.lang, out);
    EXPECT_EQ(c.expected, Text(out));
  }
}

TEST(PosixFactFilesTest, MountTableGivesEachVolumeOnce) {
  const char mounts[] =
      "rootfs / rootfs rw 0 0\n"
      "proc /proc proc rw,relatime 0 0\n"
      "overlay / overlay rw,relatime,lowerdir=/a 0 0\n"
      "/dev/vda1 /etc/hosts ext4 rw 0 0\n"
      "/dev/sdb1 /mnt/my\\040data vfat rw 0 0\n"
      "/dev/sdb1 /mnt/a vfat rw 0 0\n"
      "server:/export /nfs nfs4 rw 0 0\n";
  const std::vector<MountEntry> volumes =
      ParseMounts(mounts, [](const std::string& path) { return path != "/etc/hosts"; });
  ASSERT_EQ(2u, volumes.size());
  EXPECT_EQ("/", volumes[0].mountPoint);
  EXPECT_EQ("overlay", volumes[0].fileSystem);
  EXPECT_EQ("/dev/sdb1", volumes[1].device);
  EXPECT_EQ("/mnt/a", volumes[1].mountPoint);
  const std::vector<MountEntry> spaced =
      ParseMounts("/dev/sdb1 /mnt/my\\040data vfat rw 0 0\n", [](const std::string&) {
        return true;
      });
  ASSERT_EQ(1u, spaced.size());
  EXPECT_EQ("/mnt/my data", spaced[0].mountPoint);
}

TEST(PosixFactFilesTest, AdaptersHideAddressesWhenPersonalInfoIsOmitted) {
  std::vector<InterfaceFacts> interfaces(2);
  interfaces[0].name = "eth0";
  interfaces[0].ipv4 = "192.168.1.20";
  interfaces[0].hardware = {0x00, 0x1A, 0x2B, 0x3C, 0x4D, 0x5E};
  interfaces[0].speedMbps = 10000;
  interfaces[1].name = "wg0";  // no IPv4 address, no hardware address
  FactList<NetworkAdapterInfo> open;
  AddAdapters(interfaces, false, open);
  ASSERT_EQ(2u, open.size());
  EXPECT_EQ("eth0", Text(open[0]->description));
  EXPECT_EQ("192.168.1.20", Text(open[0]->ipAddress));
  EXPECT_EQ("00:1A:2B:3C:4D:5E", Text(open[0]->macAddress));
  EXPECT_EQ(10000u, open[0]->speedMbps);
  EXPECT_EQ("0.0.0.0", Text(open[1]->ipAddress));
  EXPECT_EQ("", Text(open[1]->macAddress));

  FactList<NetworkAdapterInfo> hidden;
  AddAdapters(interfaces, true, hidden);
  ASSERT_EQ(2u, hidden.size());
  for (const auto& adapter : hidden) {
    EXPECT_EQ("0.0.0.0", Text(adapter->ipAddress));
    EXPECT_EQ("", Text(adapter->description));
    EXPECT_EQ("", Text(adapter->macAddress));
  }
}

TEST(PosixFactFilesTest, HostAddressIsNeverLoopbackOrLinkLocal) {
  const uint32_t kLoopback = 0x7F000101;   // 127.0.1.1, as Debian names the host
  const uint32_t kLinkLocal = 0xA9FE0304;  // 169.254.3.4
  auto up = [](uint32_t index, uint32_t address) {
    InterfaceAddress i;
    i.index = index;
    i.up = true;
    i.address = address;
    return i;
  };
  InterfaceAddress lo = up(1, 0x7F000001);
  lo.loopback = true;
  InterfaceAddress down = up(2, 0x0A000002);  // 10.0.0.2 on an interface that is down
  down.up = false;
  // In the order getifaddrs gave them: the index decides.
  const std::vector<InterfaceAddress> interfaces = {lo, up(5, 0xAC110001), down, up(3, kLinkLocal),
                                                    up(4, 0xC0A8011E), up(4, 0xC0A8011F)};
  const struct {
    std::vector<uint32_t> resolved;
    std::vector<InterfaceAddress> interfaces;
    const char* expected;
  } cases[] = {
      {{kLoopback}, interfaces, "192.168.1.30"},
      {{}, interfaces, "192.168.1.30"},  // the name does not resolve
      {{kLoopback, 0x0A010203}, interfaces, "10.1.2.3"},
      {{kLinkLocal, kLoopback}, {lo, down, up(3, kLinkLocal)}, "0.0.0.0"},
      {{kLoopback}, {}, "0.0.0.0"},
  };
  for (const auto& c : cases) {
    StringBuf out(QZ_TEXT("old"));
    ChooseHostAddress(c.resolved, c.interfaces, out);
    EXPECT_EQ(c.expected, Text(out));
  }
}

TEST(PosixFactFilesTest, MachineIdentityIsAKeyedHashOfTheMachineId) {
  const char id[] = "4b1c9e0f3a7d45e2b8c6d1f09a3e7c52";
  EXPECT_TRUE(IsMachineId(id));
  for (const char* text : {"uninitialized", "", "4b1c9e0f3a7d45e2b8c6d1f09a3e7c5",
                           "4b1c9e0f-3a7d-45e2-b8c6-d1f09a3e7c52"}) {
    EXPECT_FALSE(IsMachineId(text)) << text;
  }
  // HMAC-SHA256 with the library's key, first 16 bytes: computed apart with
  // Python's hmac. A new key would give every machine a new identity.
  StringBuf identity(QZ_TEXT("old"));
  AnonymousMachineIdentity(id, identity);
  EXPECT_EQ("37EDD52AF91A20225ECF07DD62714F03", Text(identity));
  // Not the plain digest that anyone knowing the identifier can compute.
  StringBuf plain;
  StringBuf wide;
  for (const char* p = id; *p != 0; ++p) wide.Append(static_cast<QZChar>(*p));
  HashText(wide, plain);
  EXPECT_NE(Text(plain), Text(identity));
}

}  // namespace
}  // namespace qz
