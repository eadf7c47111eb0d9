#include <gtest/gtest.h>

#include "qz/BinaryInfo.h"
#include "support/LogCapture.h"
#include "support/TestText.h"

namespace qz {
namespace {
using test::W;

const char* kGuid = "0f8fad5b-d9cb-469f-a165-70867728950e";

TEST(BinaryInfoTest, StoresValidIdUpperCaseAndClearsOnEmpty) {
  test::LogCapture log;
  BinaryInfo info;
  info.SetID(W(kGuid).c_str());
  EXPECT_EQ(W("0F8FAD5B-D9CB-469F-A165-70867728950E"), info.GetID());
  info.SetID(QZ_TEXT(""));
  EXPECT_EQ(W(""), info.GetID());
  info.SetID(W(kGuid).c_str());
  info.SetID(nullptr);
  EXPECT_EQ(W(""), info.GetID());
  EXPECT_TRUE(log.Entries().empty()) << log.Dump();
}

TEST(BinaryInfoTest, RefusesNonGuidAndKeepsEarlierId) {
  BinaryInfo info;
  info.SetID(W(kGuid).c_str());
  const std::string guid(kGuid);
  for (const std::string& bad :
       {"{" + guid + "}", guid.substr(1), guid + "0", "g" + guid.substr(1)}) {
    test::LogCapture log;
    info.SetID(W(bad.c_str()).c_str());
    EXPECT_EQ(1, log.Count("BinaryInfo::SetID", "invalid ID - " + bad)) << log.Dump();
    EXPECT_EQ(W("0F8FAD5B-D9CB-469F-A165-70867728950E"), info.GetID());
  }
}

TEST(BinaryInfoTest, ModifiedDateText) {
  BinaryInfo info;
  info.SetModifiedDate(0);
  EXPECT_EQ(W(""), info.GetModifiedDateString());
  info.SetModifiedDate(1000);
  EXPECT_EQ(W("1970-01-01T00:00:01.000Z"), info.GetModifiedDateString());
  EXPECT_EQ(1000u, info.GetModifiedDate());
  info.SetModifiedDate(0);
  EXPECT_EQ(W(""), info.GetModifiedDateString());
  EXPECT_EQ(0u, info.GetModifiedDate());
}

TEST(BinaryInfoTest, TextsAndCopy) {
  BinaryInfo info;
  info.SetName(QZ_TEXT("app.exe"));
  info.SetVersion(QZ_TEXT("1.2"));
  info.SetClassName(QZ_TEXT("Parser"));
  info.SetMethodName(QZ_TEXT("Load"));
  info.SetID(W(kGuid).c_str());
  info.SetModifiedDate(1000);

  BinaryInfo copy;
  copy.SetName(QZ_TEXT("stale"));
  copy = &info;
  info.SetName(nullptr);
  EXPECT_EQ(W(""), info.GetName());
  EXPECT_EQ(W("app.exe"), copy.GetName());
  EXPECT_EQ(W("1.2"), copy.GetVersion());
  EXPECT_EQ(W("Parser"), copy.GetClassName());
  EXPECT_EQ(W("Load"), copy.GetMethodName());
  EXPECT_EQ(W("0F8FAD5B-D9CB-469F-A165-70867728950E"), copy.GetID());
  EXPECT_EQ(W("1970-01-01T00:00:01.000Z"), copy.GetModifiedDateString());

  copy = static_cast<const BinaryInfo*>(nullptr);
  EXPECT_EQ(W(""), copy.GetClassName());
  EXPECT_EQ(W(""), copy.GetModifiedDateString());
  EXPECT_EQ(0u, copy.GetModifiedDate());
}

}  // namespace
}  // namespace qz
