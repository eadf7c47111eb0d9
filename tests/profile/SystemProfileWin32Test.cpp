// What the profile holds under Wine: the real calls and WMI, with rows for
// some classes and none for others.
#include <gtest/gtest.h>

#include "WrittenProfile.h"

namespace qz {
namespace {

TEST(SystemProfileWin32Test, WithFullDataEveryClassWithRowsShowsAndTheOthersAreLeftOut) {
  const test::WrittenProfile& profile = test::ThisMachinesProfile(true, false);
  for (const char* name : {"cpu", "memory", "disk", "network", "screen", "video"}) {
    EXPECT_FALSE(profile.All(name).empty()) << name << " missing\n" << profile.text;
  }
  for (const char* name : {"page-file", "modem", "terminal-services"}) {
    EXPECT_TRUE(profile.All(name).empty()) << name << " without a row\n" << profile.text;
  }
  EXPECT_TRUE(profile.message.Has("manufacturer")) << profile.text;
  ASSERT_FALSE(HasFailure());
  EXPECT_EQ("C:", profile.All("disk")[0]->Get("name"));
  EXPECT_TRUE(profile.All("disk")[0]->Has("fstype")) << profile.text;
  EXPECT_TRUE(profile.All("cpu")[0]->Has("max-speed")) << profile.text;
  EXPECT_TRUE(profile.All("video")[0]->Has("driver") && profile.All("video")[0]->Has("memory"));
  // The speed query picks the adapter's row by its hardware address.
  bool speed = false;
  for (const auto* network : profile.All("network")) speed |= network->Has("speed");
  EXPECT_TRUE(speed) << profile.text;
}

}  // namespace
}  // namespace qz
