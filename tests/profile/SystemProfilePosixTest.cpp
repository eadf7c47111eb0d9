// What the profile holds on Linux, from the system's own files and calls.
#include <gtest/gtest.h>

#include <string>

#include "WrittenProfile.h"

namespace qz {
namespace {

TEST(SystemProfilePosixTest, DescribesThisMachineFromItsOwnSources) {
  const test::WrittenProfile& profile = test::ThisMachinesProfile(true, false);
  ASSERT_FALSE(profile.All("cpu").empty()) << profile.text;
  EXPECT_EQ("cpu0", profile.All("cpu")[0]->Get("name"));
  EXPECT_EQ(std::to_string(sizeof(void*) * 8), profile.All("cpu")[0]->Get("address-width"));
  ASSERT_EQ(1u, profile.All("memory").size()) << profile.text;
  EXPECT_NE("0", profile.All("memory")[0]->Get("total"));
  int roots = 0;
  for (const auto* disk : profile.All("disk")) {
    if (disk->Get("name") != "/") continue;
    ++roots;
    EXPECT_NE("0", disk->Get("size"));
    EXPECT_TRUE(disk->Has("fstype")) << profile.text;
  }
  EXPECT_EQ(1, roots) << profile.text;
  // Linux has no modem or terminal-services setting to report.
  EXPECT_TRUE(profile.All("modem").empty() && profile.All("terminal-services").empty());
}

}  // namespace
}  // namespace qz
