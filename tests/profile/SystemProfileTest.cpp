// The profile as this machine gives it: only what holds on any machine is
// checked here; each platform's own file says what its sources must yield.
#include <gtest/gtest.h>

#include <string>

#include "WrittenProfile.h"
#include "profile/SystemProfile.h"
#include "qz/BinaryInfo.h"
#include "qz/ExtendedKeys.h"
#include "support/TestText.h"

namespace qz {
namespace {

using test::ThisMachinesProfile;
using test::WrittenProfile;

TEST(SystemProfileTest, IsAMessageWhoseOwnChildrenComeFirstAndWhichNeverClosesItself) {
  BinaryInfo info;
  info.SetName(QZ_TEXT("editor.exe"));
  ExtendedKeys keys;
  keys.Add(QZ_TEXT("reason"), QZ_TEXT("support call"));
  SystemProfile message(QZ_TEXT("6b0d549b-6f03-475a-9600-a35a099950d8"), &info, &keys, false,
                        true);
  StringBuf out;
  const WrittenProfile profile = test::SplitProfile(test::U8(message.Write(out).ToString()));
  ASSERT_GE(profile.children.size(), 2u);
  EXPECT_EQ("binary", profile.children[0].name);
  EXPECT_EQ("property", profile.children[1].name);
  EXPECT_EQ("6B0D549B-6F03-475A-9600-A35A099950D8", profile.message.Get("session"));
  EXPECT_EQ(test::U8(message.GetID().ToString()), profile.message.Get("id"));
  // Neither platform reports a power state.
  EXPECT_FALSE(profile.message.Has("power-state")) << profile.text;
}

TEST(SystemProfileTest, WithoutFullDataOnlyTheDetailsThatNeedItDisappear) {
  const WrittenProfile& full = ThisMachinesProfile(true, false);
  const WrittenProfile& plain = ThisMachinesProfile(false, false);
  EXPECT_FALSE(full.All("disk").empty()) << full.text;
  EXPECT_FALSE(full.All("cpu").empty()) << full.text;
  EXPECT_EQ(1u, full.All("memory").size()) << full.text;
  ASSERT_EQ(1u, full.All("domain").size());
  ASSERT_EQ(1u, plain.All("domain").size());

  EXPECT_TRUE(plain.All("cpu").empty()) << plain.text;
  EXPECT_TRUE(plain.All("memory").empty()) << plain.text;
  EXPECT_FALSE(plain.All("disk").empty()) << plain.text;
  for (const auto* disk : plain.All("disk")) EXPECT_EQ(3u, disk->attributes.size()) << disk->name;
  for (const auto* network : plain.All("network")) {
    EXPECT_FALSE(network->Has("speed") || network->Has("max-speed")) << plain.text;
  }
  for (const auto* video : plain.All("video")) {
    EXPECT_FALSE(video->Has("driver") || video->Has("memory")) << plain.text;
  }
  EXPECT_FALSE(plain.message.Has("manufacturer") || plain.message.Has("model")) << plain.text;
  // Read whatever the flag says.
  EXPECT_EQ(full.All("domain")[0]->attributes, plain.All("domain")[0]->attributes);
  EXPECT_EQ(full.All("sound").size(), plain.All("sound").size());
}

TEST(SystemProfileTest, OmittingPersonalInfoHidesEveryAdapterButNotTheDomain) {
  const WrittenProfile& named = ThisMachinesProfile(true, false);
  const WrittenProfile& omitted = ThisMachinesProfile(true, true);
  EXPECT_EQ(named.All("network").size(), omitted.All("network").size()) << omitted.text;
  ASSERT_EQ(1u, named.All("domain").size());
  ASSERT_EQ(1u, omitted.All("domain").size());
  for (const auto* network : omitted.All("network")) {
    EXPECT_EQ("0.0.0.0", network->Get("ip"));
    EXPECT_FALSE(network->Has("conn-id") || network->Has("mac")) << omitted.text;
  }
  EXPECT_EQ(named.All("domain")[0]->attributes, omitted.All("domain")[0]->attributes);
}

}  // namespace
}  // namespace qz
