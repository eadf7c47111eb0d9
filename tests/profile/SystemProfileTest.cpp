// The profile as this machine gives it: only what holds on any machine is
// checked here; each platform's own file says what its sources must yield.
#include <gtest/gtest.h>

#include "WrittenProfile.h"

namespace qz {
namespace {

using test::ThisMachinesProfile;
using test::WrittenProfile;

TEST(SystemProfileTest, WithoutFullDataOnlyTheDetailsThatNeedItDisappear) {
  const WrittenProfile& full = ThisMachinesProfile(true, false);
  const WrittenProfile& plain = ThisMachinesProfile(false, false);
  EXPECT_FALSE(full.All("cpu").empty()) << full.text;
  EXPECT_EQ(1u, full.All("memory").size()) << full.text;
  EXPECT_FALSE(full.message.Has("power-state")) << full.text;  // on neither platform

  EXPECT_TRUE(plain.All("cpu").empty()) << plain.text;
  EXPECT_TRUE(plain.All("memory").empty()) << plain.text;
  EXPECT_FALSE(plain.message.Has("manufacturer") || plain.message.Has("model")) << plain.text;
  EXPECT_FALSE(plain.All("disk").empty()) << plain.text;
  for (const auto* disk : plain.All("disk")) EXPECT_EQ(3u, disk->attributes.size()) << plain.text;
  for (const auto* network : plain.All("network")) {
    EXPECT_FALSE(network->Has("speed") || network->Has("max-speed")) << plain.text;
  }
  for (const auto* video : plain.All("video")) {
    EXPECT_FALSE(video->Has("driver") || video->Has("memory")) << plain.text;
  }
  // Read whatever the flag says.
  ASSERT_TRUE(full.All("domain").size() == 1 && plain.All("domain").size() == 1);
  EXPECT_EQ(full.All("domain")[0]->attributes, plain.All("domain")[0]->attributes);
  EXPECT_EQ(full.All("sound").size(), plain.All("sound").size());
}

TEST(SystemProfileTest, OmittingPersonalInfoHidesEveryAdapterButNotTheDomain) {
  const WrittenProfile& named = ThisMachinesProfile(true, false);
  const WrittenProfile& omitted = ThisMachinesProfile(true, true);
  EXPECT_EQ(named.All("network").size(), omitted.All("network").size()) << omitted.text;
  for (const auto* network : omitted.All("network")) {
    EXPECT_EQ("0.0.0.0", network->Get("ip"));
    EXPECT_FALSE(network->Has("conn-id") || network->Has("mac")) << omitted.text;
  }
  ASSERT_TRUE(named.All("domain").size() == 1 && omitted.All("domain").size() == 1);
  EXPECT_EQ(named.All("domain")[0]->attributes, omitted.All("domain")[0]->attributes);
}

}  // namespace
}  // namespace qz
