#include <gtest/gtest.h>

#include <string>

#include "profile/DomainTag.h"
#include "profile/OsTag.h"
#include "profile/TerminalServicesTag.h"
#include "profile/TimeZoneTag.h"
#include "support/TestText.h"

namespace qz {
namespace {

std::string Written(Tag& tag) {
  StringBuf out;
  return test::U8(tag.Write(out).ToString());
}

TEST(EnvironmentTagsTest, OsWritesNameAndServicePackAlwaysAndTheRestWhenKnown) {
  OsInfo bare;
  OsTag empty(bare);
  EXPECT_EQ("<os name=\"\" sp-major=\"0\" sp-minor=\"0\"/>\n", Written(empty));
  OsInfo full;
  full.caption = QZ_TEXT("Microsoft Windows 7 Professional");
  full.spMajor = 1;
  full.productCode = QZ_TEXT("00371-OEM");
  full.installDate = QZ_TEXT("2011-03-17T09:30:12+01:00");
  full.language = QZ_TEXT("en_US");
  OsTag os(full);
  EXPECT_EQ("<os name=\"Microsoft Windows 7 Professional\" sp-major=\"1\" sp-minor=\"0\""
            " product-code=\"00371-OEM\" installed-date=\"2011-03-17T09:30:12+01:00\""
            " language=\"en_US\"/>\n",
            Written(os));
}

TEST(EnvironmentTagsTest, DomainAndTimeZone) {
  DomainInfo workgroup;
  workgroup.domain = QZ_TEXT("workgroup");
  workgroup.role = QZ_TEXT("0");
  DomainTag member(workgroup);
  EXPECT_EQ("<domain member=\"false\" name=\"workgroup\" role=\"0\"/>\n", Written(member));
  DomainInfo none;
  DomainTag alone(none);
  EXPECT_EQ("<domain member=\"false\"/>\n", Written(alone));

  TimeZoneInfo behind;
  behind.offsetMinutes = -300;
  behind.daylight = true;
  TimeZoneTag zone(behind);
  EXPECT_EQ("<time-zone zone=\"-300\" dst=\"true\"/>\n", Written(zone));
  TimeZoneTag utc(TimeZoneInfo{});
  EXPECT_EQ("<time-zone zone=\"0\" dst=\"false\"/>\n", Written(utc));
}

TEST(EnvironmentTagsTest, TerminalServicesOnlyWhenSomethingWasRead) {
  TerminalServicesInfo unread;
  unread.mode = TerminalServicesInfo::MODE_UNKNOWN;
  TerminalServicesTag nothing(unread);
  EXPECT_EQ("", Written(nothing));
  TerminalServicesInfo allowed;
  allowed.mode = TerminalServicesInfo::MODE_UNKNOWN;
  allowed.connectionsAllowed = true;
  TerminalServicesTag open(allowed);
  EXPECT_EQ("<terminal-services connections-allowed=\"true\"/>\n", Written(open));
  // A row whose mode could not be read reports mode 0.
  TerminalServicesInfo row;
  row.licensingName = QZ_TEXT("lic");
  TerminalServicesTag read(row);
  EXPECT_EQ("<terminal-services licensing-name=\"lic\" mode=\"0\"/>\n", Written(read));
}

}  // namespace
}  // namespace qz
