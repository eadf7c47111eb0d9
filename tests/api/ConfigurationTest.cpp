#include <gtest/gtest.h>

#include <climits>
#include <cstdint>

#include "qz/Configuration.h"
#include "support/LogCapture.h"
#include "support/TestText.h"

namespace qz {
namespace {
using test::LogCapture;
using test::W;

const char kLower[] = "0f8fad5b-d9cb-469f-a165-70867728950e";
const char kUpper[] = "0F8FAD5B-D9CB-469F-A165-70867728950E";
const char kOther[] = "7C9E6679-7425-40DE-944B-E07FC1F90AE7";

TEST(Configuration, GuidsAreStoredUpperCaseAndBadOnesKeepThePrevious) {
  LogCapture log;
  Configuration c;
  c.SetCompanyID(W(kLower).c_str());
  c.SetCompanyID(W("0F8FAD5B-D9CB-469F-A165-70867728950EE").c_str());
  c.SetApplicationID(W(kLower).c_str());
  c.SetApplicationID(W("not a guid").c_str());
  EXPECT_EQ(W(kUpper), c.GetCompanyID());
  EXPECT_EQ(W(kUpper), c.GetApplicationID());
  EXPECT_EQ(1, log.Count("Configuration::SetCompanyID", "Company ID is not a valid GUID")) << log.Dump();
  EXPECT_EQ(1, log.Count("Configuration::SetApplicationID", "Application ID is not a valid GUID"));

  log.Clear();  // clearing is not an error
  c.SetCompanyID(nullptr);
  c.SetApplicationID(QZ_TEXT(""));
  EXPECT_EQ(W(""), c.GetCompanyID());
  EXPECT_EQ(W(""), c.GetApplicationID());
  EXPECT_TRUE(log.Entries().empty()) << log.Dump();
}

TEST(Configuration, DefaultIDsChangeOnlyAsAPair) {
  LogCapture log;
  const char* source = "Configuration::SetDefaultIDs";
  Configuration c;
  ASSERT_TRUE(c.SetDefaultIDs(W(kLower).c_str(), W(kOther).c_str()));
  EXPECT_FALSE(c.SetDefaultIDs(W(kOther).c_str(), nullptr));
  EXPECT_FALSE(c.SetDefaultIDs(W("x").c_str(), W(kOther).c_str()));
  EXPECT_FALSE(c.SetDefaultIDs(QZ_TEXT(""), W(kOther).c_str()));
  EXPECT_EQ(1, log.Count(source, "Default Session is not a valid GUID"));
  EXPECT_EQ(1, log.Count(source, "Message group is not a valid GUID"));
  EXPECT_EQ(1, log.Count(source, "Both Message Group and Default Session must be null/blank to reset values"));
  EXPECT_EQ(3u, log.Entries().size()) << log.Dump();
  EXPECT_EQ(W(kUpper), c.GetMessageGroup());
  EXPECT_EQ(W(kOther), c.GetDefaultSession());

  for (const QZChar* blank : {static_cast<const QZChar*>(nullptr), QZ_TEXT("")}) {
    ASSERT_TRUE(c.SetDefaultIDs(W(kUpper).c_str(), W(kOther).c_str()));
    EXPECT_TRUE(c.SetDefaultIDs(blank, blank));
    EXPECT_EQ(W(""), c.GetMessageGroup());
    EXPECT_EQ(W(""), c.GetDefaultSession());
  }
}

TEST(Configuration, AssignmentCopiesAndNullResets) {
  Configuration filled;
  filled.SetCompanyID(W(kUpper).c_str());
  filled.SetEndpointLocation(QZ_TEXT("h/p"));
  filled.SetDefaultIDs(W(kOther).c_str(), W(kUpper).c_str());
  filled.SetUseSSL(false);
  filled.SetOffline(true);
  filled.SetEndpointTimeout(42);
  filled.SetOfflineStorageLimit(UINT64_MAX);
  Configuration copy;
  copy = &filled;
  copy = &copy;  // self-assignment must not wipe it
  EXPECT_EQ(W(kUpper), copy.GetCompanyID());
  EXPECT_EQ(W("h/p"), copy.GetEndpointLocation());
  EXPECT_EQ(W(kOther), copy.GetMessageGroup());
  EXPECT_TRUE(!copy.IsUseSSL() && copy.IsOffline() && copy.GetEndpointTimeout() == 42);
  EXPECT_EQ(UINT64_MAX, copy.GetOfflineStorageLimit());

  copy = nullptr;
  for (const QZChar* text : {copy.GetCompanyID(), copy.GetEndpointLocation(), copy.GetMessageGroup(),
                             copy.GetDefaultSession()}) {
    ASSERT_NE(nullptr, text);
    EXPECT_EQ(W(""), text);
  }
  EXPECT_TRUE(copy.IsUseSSL() && !copy.IsOffline());
  EXPECT_EQ(10000, copy.GetEndpointTimeout());
  EXPECT_EQ(0u, copy.GetOfflineStorageLimit());  // no limit
  copy.SetEndpointTimeout(0);  // below one means the default
  EXPECT_EQ(10000, copy.GetEndpointTimeout());
  copy.SetEndpointTimeout(LONG_MAX);  // a 64-bit long is capped, not cut to its low bits
  EXPECT_EQ(INT32_MAX, copy.GetEndpointTimeout());
}

}  // namespace
}  // namespace qz
