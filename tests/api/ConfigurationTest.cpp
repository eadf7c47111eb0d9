#include <gtest/gtest.h>

#include "api/Guid.h"
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

TEST(IsValidGUID, AcceptsOnlyTheBareHyphenatedForm) {
  EXPECT_TRUE(IsValidGUID(W(kLower).c_str()));
  EXPECT_TRUE(IsValidGUID(W(kUpper).c_str()));
  for (const char* bad : {"", "0F8FAD5B-D9CB-469F-A165-70867728950", "0F8FAD5B_D9CB-469F-A165-70867728950E",
                          "0F8FAD5B-D9CB-469F-A165-70867728950G", "0F8FAD5BD-9CB-469F-A165-70867728950E"}) {
    EXPECT_FALSE(IsValidGUID(W(bad).c_str())) << bad;
  }
  EXPECT_FALSE(IsValidGUID(nullptr));
}

TEST(Configuration, IdentifiersAreStoredUpperCaseAndBadOnesKeepThePrevious) {
  LogCapture log;
  Configuration c;
  c.SetCompanyID(W(kLower).c_str());
  EXPECT_EQ(W(kUpper), c.GetCompanyID());
  c.SetCompanyID(W("{0F8FAD5B-D9CB-469F-A165-70867728950E}").c_str());
  c.SetCompanyID(W("0F8FAD5B-D9CB-469F-A165-70867728950EE").c_str());
  EXPECT_EQ(W(kUpper), c.GetCompanyID());
  EXPECT_EQ(2, log.Count("Configuration::SetCompanyID", "Company ID is not a valid GUID"))
      << log.Dump();

  c.SetApplicationID(W(kLower).c_str());
  c.SetApplicationID(W("not a guid").c_str());
  EXPECT_EQ(W(kUpper), c.GetApplicationID());
  EXPECT_TRUE(log.Contains("Configuration::SetApplicationID", "Application ID is not a valid GUID"));

  log.Clear();
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
  EXPECT_EQ(W(kUpper), c.GetMessageGroup());
  EXPECT_EQ(W(kOther), c.GetDefaultSession());

  EXPECT_FALSE(c.SetDefaultIDs(W(kOther).c_str(), nullptr));
  EXPECT_TRUE(log.Contains(source, "Default Session is not a valid GUID"));
  EXPECT_FALSE(c.SetDefaultIDs(W("x").c_str(), W(kOther).c_str()));
  EXPECT_TRUE(log.Contains(source, "Message group is not a valid GUID"));
  EXPECT_FALSE(c.SetDefaultIDs(QZ_TEXT(""), W(kOther).c_str()));
  EXPECT_TRUE(log.Contains(source,
                           "Both Message Group and Default Session must be null/blank to reset values"));
  EXPECT_EQ(3u, log.Entries().size()) << log.Dump();
  EXPECT_EQ(W(kUpper), c.GetMessageGroup());
  EXPECT_EQ(W(kOther), c.GetDefaultSession());

  EXPECT_TRUE(c.SetDefaultIDs(nullptr, nullptr));
  EXPECT_EQ(W(""), c.GetMessageGroup());
  ASSERT_TRUE(c.SetDefaultIDs(W(kUpper).c_str(), W(kOther).c_str()));
  EXPECT_TRUE(c.SetDefaultIDs(QZ_TEXT(""), QZ_TEXT("")));
  EXPECT_EQ(W(""), c.GetMessageGroup());
  EXPECT_EQ(W(""), c.GetDefaultSession());
}

TEST(Configuration, TimeoutBelowOneFallsBackToDefault) {
  Configuration c;
  c.SetEndpointTimeout(-5);
  EXPECT_EQ(10000, c.GetEndpointTimeout());
  c.SetEndpointTimeout(1);
  EXPECT_EQ(1, c.GetEndpointTimeout());
  c.SetEndpointTimeout(0);
  EXPECT_EQ(10000, c.GetEndpointTimeout());
}

TEST(Configuration, AssignmentCopiesEverythingAndNullResets) {
  Configuration filled;
  filled.SetCompanyID(W(kUpper).c_str());
  filled.SetCompanyName(QZ_TEXT("Co"));
  filled.SetApplicationID(W(kOther).c_str());
  filled.SetApplicationType(QZ_TEXT("T"));
  filled.SetApplicationName(QZ_TEXT("N"));
  filled.SetApplicationVersion(QZ_TEXT("1.2"));
  filled.SetApplicationInstanceID(QZ_TEXT("I"));
  filled.SetEndpointLocation(QZ_TEXT("h/p"));
  filled.SetDefaultIDs(W(kOther).c_str(), W(kUpper).c_str());
  filled.SetUseSSL(false);
  filled.SetOptIn(false);
  filled.SetOffline(true);
  filled.SetSendDisabled(true);
  filled.SetSupportOfflineStorage(false);
  filled.SetOmitPersonalInfo(true);
  filled.SetFullData(false);
  filled.SetEndpointTimeout(42);

  Configuration copy;
  copy = &filled;
  copy = &copy;  // self-assignment must not wipe it
  EXPECT_EQ(W(kUpper), copy.GetCompanyID());
  EXPECT_EQ(W("Co"), copy.GetCompanyName());
  EXPECT_EQ(W(kOther), copy.GetApplicationID());
  EXPECT_EQ(W("T"), copy.GetApplicationType());
  EXPECT_EQ(W("N"), copy.GetApplicationName());
  EXPECT_EQ(W("1.2"), copy.GetApplicationVersion());
  EXPECT_EQ(W("I"), copy.GetApplicationInstanceID());
  EXPECT_EQ(W("h/p"), copy.GetEndpointLocation());
  EXPECT_EQ(W(kOther), copy.GetMessageGroup());
  EXPECT_EQ(W(kUpper), copy.GetDefaultSession());
  EXPECT_FALSE(copy.IsUseSSL() || copy.IsOptIn() || copy.IsSupportOfflineStorage() ||
               copy.IsFullData());
  EXPECT_TRUE(copy.IsOffline() && copy.IsSendDisabled() && copy.IsOmitPersonalInfo());
  EXPECT_EQ(42, copy.GetEndpointTimeout());

  copy = nullptr;  // a filled object goes back to the defaults
  for (const QZChar* text :
       {copy.GetCompanyID(), copy.GetCompanyName(), copy.GetApplicationID(), copy.GetApplicationType(),
        copy.GetApplicationName(), copy.GetApplicationVersion(), copy.GetApplicationInstanceID(),
        copy.GetEndpointLocation(), copy.GetMessageGroup(), copy.GetDefaultSession()}) {
    ASSERT_NE(nullptr, text);
    EXPECT_EQ(W(""), text);
  }
  EXPECT_TRUE(copy.IsUseSSL() && copy.IsOptIn() && copy.IsSupportOfflineStorage() && copy.IsFullData());
  EXPECT_FALSE(copy.IsOffline() || copy.IsSendDisabled() || copy.IsOmitPersonalInfo());
  EXPECT_EQ(10000, copy.GetEndpointTimeout());
}

}  // namespace
}  // namespace qz
