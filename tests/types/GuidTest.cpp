#include <gtest/gtest.h>

#include "support/TestText.h"
#include "types/Guid.h"

namespace qz {
namespace {
using test::W;

TEST(GuidTest, EitherCaseInGroupsOf8_4_4_4_12AndNothingElse) {
  EXPECT_TRUE(IsValidGUID(W("0f8fad5b-d9cb-469f-a165-70867728950e").c_str()));
  EXPECT_TRUE(IsValidGUID(W("0F8FAD5B-D9CB-469F-A165-70867728950E").c_str()));
  for (const char* bad : {"", "0F8FAD5B-D9CB-469F-A165-70867728950", "0F8FAD5B-D9CB-469F-A165-70867728950E0",
                          "0F8FAD5B_D9CB-469F-A165-70867728950E", "0F8FAD5B-D9CB-469F-A165-70867728950G",
                          "0F8FAD5BD-9CB-469F-A165-70867728950E", "{0F8FAD5B-D9CB-469F-A165-70867728950E}"}) {
    EXPECT_FALSE(IsValidGUID(W(bad).c_str())) << bad;
  }
  EXPECT_FALSE(IsValidGUID(nullptr));
}

}  // namespace
}  // namespace qz
