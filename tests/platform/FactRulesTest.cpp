#include <gtest/gtest.h>

#include "platform/FactRules.h"
#include "support/TestText.h"

namespace qz {
namespace {

using test::U8;
using test::W;

std::string VersionName(WindowsVersion v) {
  StringBuf caption;
  AppendWindowsVersionName(caption, v);
  return U8(caption.ToString());
}

WindowsVersion Nt(uint32_t major, uint32_t minor, uint32_t productType, uint32_t suite = 0,
                  uint32_t arch = 0) {
  WindowsVersion v;
  v.platformId = 2;
  v.major = major;
  v.minor = minor;
  v.productType = productType;
  v.suiteMask = suite;
  v.processorArchitecture = arch;
  return v;
}

TEST(FactRulesTest, VersionNames) {
  WindowsVersion seven = Nt(6, 1, 1);
  seven.hasProductInfo = true;
  seven.productInfoType = 48;
  EXPECT_EQ(VersionName(seven), "Microsoft Windows 7 Professional");
  WindowsVersion eight = Nt(6, 2, 1);
  eight.hasProductInfo = true;
  eight.productInfoType = 4;
  EXPECT_EQ(VersionName(eight), "Microsoft Enterprise Edition");
  WindowsVersion unknownEdition = Nt(6, 0, 3);
  unknownEdition.hasProductInfo = true;
  unknownEdition.productInfoType = 5;
  EXPECT_EQ(VersionName(unknownEdition), "Microsoft Windows Server 2008 ");
  EXPECT_EQ(VersionName(Nt(6, 1, 3)), "Microsoft Windows Server 2008 R2 ");

  EXPECT_EQ(VersionName(Nt(5, 2, 1, 0, 9)), "Microsoft Windows XP Professional x64 Edition");
  WindowsVersion r2 = Nt(5, 2, 3, 0x80, 9);
  r2.serverR2 = true;
  EXPECT_EQ(VersionName(r2), "Microsoft Windows Server 2003 R2, Datacenter x64 Edition");
  EXPECT_EQ(VersionName(Nt(5, 2, 3, 0x2000)),
            "Microsoft Windows Storage Server 2003Standard Edition");
  EXPECT_EQ(VersionName(Nt(5, 2, 3, 0, 6)), "Microsoft Windows Server 2003, ");
  EXPECT_EQ(VersionName(Nt(5, 2, 3, 0x2, 6)),
            "Microsoft Windows Server 2003, Enterprise Edition for Itanium-based Systems");
  EXPECT_EQ(VersionName(Nt(5, 2, 3, 0x4000 | 0x80)),
            "Microsoft Windows Server 2003, Compute Cluster Edition");
  EXPECT_EQ(VersionName(Nt(5, 2, 3, 0x400)), "Microsoft Windows Server 2003, Web Edition");
  EXPECT_EQ(VersionName(Nt(5, 1, 1, 0x200)), "Microsoft Windows XP Home Edition");
  EXPECT_EQ(VersionName(Nt(5, 1, 1)), "Microsoft Windows XP Professional");
  EXPECT_EQ(VersionName(Nt(5, 0, 1)), "Microsoft Windows 2000 Professional");
  EXPECT_EQ(VersionName(Nt(5, 0, 3, 0x2)), "Microsoft Windows 2000 Advanced Server");
  EXPECT_EQ(VersionName(Nt(10, 0, 1)), "Microsoft ");

  EXPECT_EQ(VersionName(Nt(4, 0, 1)), "");
  WindowsVersion win9x = Nt(5, 1, 1);
  win9x.platformId = 1;
  EXPECT_EQ(VersionName(win9x), "");
}

TEST(FactRulesTest, EditionTable) {
  const struct {
    uint32_t type;
    const char* text;
  } table[] = {{1, "Ultimate Edition"}, {9, "Small Business Server"},
               {12, "Datacenter Edition (core installation)"},
               {25, "Small Business Server Premium Edition"}, {48, "Professional"}};
  for (const auto& row : table) EXPECT_EQ(U8(WindowsEditionText(row.type)), row.text);
  for (uint32_t missing : {0u, 5u, 16u, 19u, 47u, 49u}) {
    EXPECT_EQ(WindowsEditionText(missing), nullptr) << missing;
  }
}

TEST(FactRulesTest, WmiDateTime) {
  const struct {
    const char* wmi;
    const char* text;
  } cases[] = {
      {"20110317093012.000000+060", "2011-03-17T09:30:12+01:00"},
      {"20110317093012.000000-300", "2011-03-17T09:30:12-05:00"},
      {"20110317093012.000000+000", "2011-03-17T09:30:12Z"},
      {"20110317093012.000000+570", "2011-03-17T09:30:12+09:30"},
      {"20110317093012.000000+60", ""},  // 24 characters
      {"", ""},
  };
  for (const auto& c : cases) {
    StringBuf out(QZ_TEXT("stale"));
    ConvertWmiDateTime(W(c.wmi).c_str(), out);
    EXPECT_EQ(U8(out.ToString()), c.text) << c.wmi;
  }
}

TEST(FactRulesTest, NumbersAndUnits) {
  EXPECT_EQ(ParseDecimalInt64(W("  -42x").c_str()), -42);
  EXPECT_EQ(ParseDecimalInt64(W("+17179869184").c_str()), 17179869184LL);
  EXPECT_EQ(ParseDecimalInt64(W("99999999999999999999").c_str()), INT64_MAX);
  EXPECT_EQ(ParseDecimalInt64(W("-9223372036854775808").c_str()), INT64_MIN);
  EXPECT_EQ(ParseDecimalInt64(W("abc").c_str()), 0);
  EXPECT_EQ(ParseDecimalInt64(nullptr), 0);

  EXPECT_EQ(BytesToMiB(int64_t{17179869184}), 16384u);
  EXPECT_EQ(BytesToMiB(int64_t{-1}), 0u);
  EXPECT_EQ(BytesToMiB(uint64_t{(1u << 20) - 1}), 0u);

  EXPECT_EQ(BitsPerSecondTextToMbps(W("10000000000").c_str()), 10000u);
  EXPECT_EQ(BitsPerSecondTextToMbps(W("100000").c_str()), 0u);
  EXPECT_EQ(BitsPerSecondTextToMbps(W("").c_str()), 0u);
}

TEST(FactRulesTest, ProcessorsAndLoad) {
  CpuInfo first;
  first.manufacturer = QZ_TEXT("GenuineIntel");
  NameProcessor(first, false, 0);
  CpuInfo second;
  second.manufacturer = QZ_TEXT("AuthenticAMD");
  NameProcessor(second, false, 1);
  EXPECT_EQ(U8(first.name.ToString()), "cpu0");
  EXPECT_EQ(U8(first.manufacturer.ToString()), "Intel");
  EXPECT_EQ(U8(second.name.ToString()), "cpu1");
  EXPECT_EQ(U8(second.manufacturer.ToString()), "AuthenticAMD");
  CpuInfo named;
  named.name = QZ_TEXT("CPU0");
  named.manufacturer = QZ_TEXT("Genuine");
  NameProcessor(named, true, 5);
  EXPECT_EQ(U8(named.name.ToString()), "CPU0");
  EXPECT_EQ(U8(named.manufacturer.ToString()), "");

  const uint32_t loads[] = {10, 21};
  EXPECT_EQ(AverageLoad(loads, 2), 15u);
  EXPECT_EQ(AverageLoad(loads, 0), 0u);
  const uint32_t idle[] = {0, 0};
  EXPECT_EQ(AverageLoad(idle, 2), 0u);
}

TEST(FactRulesTest, HardwareAddress) {
  const uint8_t mac[] = {0x00, 0x1A, 0x2B, 0x3C, 0x4D, 0x5E, 0x6F};
  StringBuf out;
  FormatHardwareAddress(mac, 6, out);
  EXPECT_EQ(U8(out.ToString()), "00:1A:2B:3C:4D:5E");
  FormatHardwareAddress(mac, 7, out);
  EXPECT_EQ(U8(out.ToString()), "");
}

TEST(FactRulesTest, UserIdentityTextLowersTheDomainOnly) {
  const struct {
    const QZChar* domain;
    const QZChar* user;
    const char* expected;
  } cases[] = {{QZ_TEXT("CORP"), QZ_TEXT("jdoe"), "corp\\jdoe"},
               {QZ_TEXT("corp"), QZ_TEXT("JDoe"), "corp\\JDoe"},
               {QZ_TEXT(""), QZ_TEXT("jdoe"), "\\jdoe"},
               {nullptr, nullptr, "\\"}};
  for (const auto& c : cases) {
    StringBuf out(QZ_TEXT("old"));
    UserIdentityText(c.domain, c.user, out);
    EXPECT_EQ(U8(out.ToString()), c.expected);
  }
}

}  // namespace
}  // namespace qz
