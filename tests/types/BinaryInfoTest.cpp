#include <gtest/gtest.h>

#include <string>

#include "qz/BinaryInfo.h"
#include "support/LogCapture.h"
#include "support/TestText.h"

namespace qz {
namespace {
using test::W;

TEST(BinaryInfoTest, IdIsUpperCasedOrRefusedWithLogLine) {
  const std::string guid = "0f8fad5b-d9cb-469f-a165-70867728950e";
  const auto upper = W("0F8FAD5B-D9CB-469F-A165-70867728950E");
  BinaryInfo info;
  info.SetID(W(guid.c_str()).c_str());
  EXPECT_EQ(upper, info.GetID());
  for (const std::string& bad : {"{" + guid + "}", guid.substr(1), guid + "0", "g" + guid.substr(1)}) {
    test::LogCapture log;
    info.SetID(W(bad.c_str()).c_str());
    EXPECT_EQ(1, log.Count("BinaryInfo::SetID", "invalid ID - " + bad)) << log.Dump();
    EXPECT_EQ(upper, info.GetID());
  }
  info.SetID(QZ_TEXT(""));
  EXPECT_EQ(W(""), info.GetID());
}

TEST(BinaryInfoTest, CopiesAreIndependent) {
  BinaryInfo info, copy;
  info.SetClassName(QZ_TEXT("Parser"));
  info.SetModifiedDate(1000);
  copy.SetName(QZ_TEXT("stale"));
  copy = &info;
  info.SetClassName(nullptr);
  info.SetModifiedDate(0);
  EXPECT_EQ(W(""), info.GetModifiedDateString());  // no date, no text
  EXPECT_EQ(W("Parser||1970-01-01T00:00:01.000Z"), W("") + copy.GetClassName() + QZ_TEXT('|') +
                                                      copy.GetName() + QZ_TEXT('|') +
                                                      copy.GetModifiedDateString());
}

}  // namespace
}  // namespace qz
