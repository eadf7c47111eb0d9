#include <gtest/gtest.h>

#include "platform/DefaultEndpoint.h"
#include "platform/Platform.h"
#include "qz/Configuration.h"
#include "support/TestText.h"

namespace qz {
namespace {
using test::QZString;
using test::W;

QZString Completed(const QZString& location, bool throughPlatform = false) {
  Configuration c;
  c.SetEndpointLocation(location.c_str());
  throughPlatform ? Platform::ApplyDefaultEndpoint(&c) : ApplyDefaultEndpointTo(&c);
  return c.GetEndpointLocation();
}

TEST(DefaultEndpoint, EmptyBecomesTheDefaultServiceAndAServiceGetsItsOperation) {
  const QZString path = W("/Tessary.Web.Services.Messaging/MessagingServiceV3.svc/Publish");
  const QZString endpoint = Completed(W(""));
  ASSERT_GT(endpoint.size(), path.size());
  EXPECT_EQ(path, endpoint.substr(endpoint.size() - path.size()));
  EXPECT_EQ(QZString::npos, endpoint.find(W("://")));  // the scheme comes with the connection
  EXPECT_NE(QZ_TEXT('/'), endpoint[0]);
  EXPECT_EQ(endpoint, Completed(endpoint));  // applying twice changes nothing

  EXPECT_EQ(W("h:81/x/S.svc/Publish"), Completed(W("h:81/x/S.svc"), true));
  EXPECT_EQ(W("h/x/S.svc/Other"), Completed(W("h/x/S.svc/Other")));
  EXPECT_EQ(W("h/svc"), Completed(W("h/svc")));
  ApplyDefaultEndpointTo(nullptr);
  Platform::ApplyDefaultEndpoint(nullptr);
}

}  // namespace
}  // namespace qz
