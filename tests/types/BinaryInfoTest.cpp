#include <gtest/gtest.h>

#include <string>

#include "qz/BinaryInfo.h"
#include "support/LogCapture.h"
#include "support/TestText.h"

namespace qz {
namespace {
using test::W;

const std::string kGuid = "0f8fad5b-d9cb-469f-a165-70867728950e";
const std::string kUpper = "0F8FAD5B-D9CB-469F-A165-70867728950E";

TEST(BinaryInfoTest, IdIsUpperCasedOrRefusedWithLogLine) {
  BinaryInfo info;
  info.SetID(W(kGuid.c_str()).c_str());
  EXPECT_EQ(W(kUpper.c_str()), info.GetID());
  for (const std::string& bad : {"{" + kGuid + "}", kGuid.substr(1), kGuid + "0", "g" + kGuid.substr(1)}) {
    test::LogCapture log;
    info.SetID(W(bad.c_str()).c_str());
    EXPECT_EQ(1, log.Count("BinaryInfo::SetID", "invalid ID - " + bad)) << log.Dump();
    EXPECT_EQ(W(kUpper.c_str()), info.GetID());
  }
  info.SetID(QZ_TEXT(""));
  EXPECT_EQ(W(""), info.GetID());
}

TEST(BinaryInfoTest, ModifiedDateText) {
  BinaryInfo info;
  info.SetModifiedDate(0);
  EXPECT_EQ(W(""), info.GetModifiedDateString());
  info.SetModifiedDate(1000);
  EXPECT_EQ(W("1970-01-01T00:00:01.000Z"), info.GetModifiedDateString());
  info.SetModifiedDate(0);
  EXPECT_EQ(W(""), info.GetModifiedDateString());
}

TEST(BinaryInfoTest, AssignmentCopiesAndNullResets) {
  BinaryInfo info;
  info.SetClassName(QZ_TEXT("Parser"));
  info.SetModifiedDate(1000);
  BinaryInfo copy;
  copy.SetName(QZ_TEXT("stale"));
  copy = &info;
  info.SetClassName(nullptr);
  EXPECT_EQ(W(""), info.GetClassName());
  EXPECT_EQ(W("Parser"), copy.GetClassName());
  EXPECT_EQ(W(""), copy.GetName());
  EXPECT_EQ(W("1970-01-01T00:00:01.000Z"), copy.GetModifiedDateString());
  copy = static_cast<const BinaryInfo*>(nullptr);
  EXPECT_EQ(W(""), copy.GetClassName());
  EXPECT_EQ(0u, copy.GetModifiedDate());
}

}  // namespace
}  // namespace qz
