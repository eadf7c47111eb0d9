#include <gtest/gtest.h>

#include "platform/DefaultEndpoint.h"
#include "platform/Platform.h"
#include "qz/Configuration.h"
#include "support/TestText.h"

namespace qz {
namespace {
using test::QZString;
using test::W;

QZString Completed(const char* location) {
  Configuration c;
  c.SetEndpointLocation(W(location).c_str());
  ApplyDefaultEndpointTo(&c);
  return c.GetEndpointLocation();
}

TEST(DefaultEndpoint, EmptyBecomesTheDefaultServiceWithoutScheme) {
  const QZString path = W("/Tessary.Web.Services.Messaging/MessagingServiceV3.svc/Publish");
  const QZString endpoint = Completed("");
  ASSERT_GT(endpoint.size(), path.size());
  EXPECT_EQ(path, endpoint.substr(endpoint.size() - path.size()));
  EXPECT_EQ(QZString::npos, endpoint.find(W("://")));
  EXPECT_NE(QZ_TEXT('/'), endpoint[0]);
  EXPECT_EQ(endpoint, Completed(test::U8(endpoint).c_str()));  // applying twice changes nothing
}

TEST(DefaultEndpoint, ServiceAddressGetsItsOperation) {
  EXPECT_EQ(W("h:81/x/S.svc/Publish"), Completed("h:81/x/S.svc"));
  EXPECT_EQ(W("h/x/S.svc/Other"), Completed("h/x/S.svc/Other"));
  EXPECT_EQ(W("h/svc"), Completed("h/svc"));
  ApplyDefaultEndpointTo(nullptr);
}

TEST(DefaultEndpoint, PlatformCompletesTheRunsEndpoint) {
  Configuration c;
  c.SetEndpointLocation(QZ_TEXT("h/S.svc"));
  Platform::ApplyDefaultEndpoint(&c);
  EXPECT_EQ(W("h/S.svc/Publish"), QZString(c.GetEndpointLocation()));
  Platform::ApplyDefaultEndpoint(nullptr);
}

}  // namespace
}  // namespace qz
