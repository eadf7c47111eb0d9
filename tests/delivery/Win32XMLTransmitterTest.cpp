#include <gtest/gtest.h>

#include "delivery/Win32XMLTransmitter.h"
#include "delivery/XMLTransmitterTest.h"

namespace qz {
namespace test {

const char kSystem[] = "Win32";

namespace {

TEST(Win32XMLTransmitterTest, SplitsTheEndpoint) {
  const struct { const char* location; bool ssl; const char* host; int port; const char* path; } cases[] = {
      {"collector/Svc/Messaging.svc/Publish", false, "collector", 80, "/Svc/Messaging.svc/Publish"},
      {"collector/Svc/Messaging.svc/Publish", true, "collector", 443, "/Svc/Messaging.svc/Publish"},
      {"collector:8080/p?x=1", false, "collector", 8080, "/p?x=1"}};
  for (const auto& c : cases) {
    Configuration configuration;
    configuration.SetEndpointLocation(W(c.location).c_str());
    configuration.SetUseSSL(c.ssl);
    Win32XMLTransmitter transmitter(configuration);
    EXPECT_EQ(c.host, U8(transmitter.GetHostName().ToString())) << c.location;
    EXPECT_EQ(c.port, transmitter.GetPort()) << c.location;
    EXPECT_EQ(c.path, U8(transmitter.GetUrlPath().ToString())) << c.location;
  }
}

}  // namespace
}  // namespace test
}  // namespace qz
