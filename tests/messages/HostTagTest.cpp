#include <gtest/gtest.h>

#include <string>

#include "messages/HostTag.h"
#include "messages/UserTag.h"
#include "support/TestText.h"

namespace qz {
namespace {

std::string Written(Tag& tag) {
  StringBuf out;
  return test::U8(tag.Write(out).ToString());
}

TEST(HostTagTest, HostHoldsItsOsLineAndWritesOptionalAttributesOnlyWhenSet) {
  OsInfo os;
  os.caption = QZ_TEXT("Debian GNU/Linux 12 (bookworm)");
  HostInfo host;
  host.ipAddress = QZ_TEXT("10.0.0.7");
  host.locale = QZ_TEXT("en_US");
  host.srcLang = QZ_TEXT("GCC");
  host.srcLangVer = QZ_TEXT("120200");
  HostTag plain(host, os);
  const std::string osLine =
      "<os name=\"Debian GNU/Linux 12 (bookworm)\" sp-major=\"0\" sp-minor=\"0\"/>\n";
  EXPECT_EQ("<host ip=\"10.0.0.7\" locale=\"en_US\" src-lang=\"GCC\" src-lang-ver=\"120200\">\n" +
                osLine + "</host>\n",
            Written(plain));

  host.name = QZ_TEXT("N/A");
  host.virtualized = true;
  host.locale.Clear();
  HostTag full(host, os);
  EXPECT_EQ("<host ip=\"10.0.0.7\" locale=\"\" name=\"N/A\" virtualized=\"true\" src-lang=\"GCC\""
            " src-lang-ver=\"120200\">\n" + osLine + "</host>\n",
            Written(full));
}

TEST(HostTagTest, UserWritesItsNameAlwaysAndAdminOnlyWhenTrue) {
  UserInfo user;
  UserTag empty(user);
  EXPECT_EQ("<user name=\"\"/>\n", Written(empty));
  user.name = QZ_TEXT("A4ED14370A8ABE3C5CAB4421586090EB");
  user.admin = true;
  UserTag admin(user);
  EXPECT_EQ("<user name=\"A4ED14370A8ABE3C5CAB4421586090EB\" admin=\"true\"/>\n", Written(admin));
}

}  // namespace
}  // namespace qz
