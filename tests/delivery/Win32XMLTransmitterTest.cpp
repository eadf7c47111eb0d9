#include <gtest/gtest.h>

#include "delivery/Win32XMLTransmitter.h"
#include "delivery/XMLTransmitterTest.h"

namespace qz {
namespace test {

const char kTransmitterClass[] = "Win32";

namespace {

struct Cracked {
  std::string host;
  int port;
  std::string path;
};

Cracked Crack(const char* location, bool ssl) {
  Configuration configuration;
  configuration.SetEndpointLocation(W(location).c_str());
  configuration.SetUseSSL(ssl);
  Win32XMLTransmitter transmitter(configuration);
  return {U8(transmitter.GetHostName().ToString()), transmitter.GetPort(),
          U8(transmitter.GetUrlPath().ToString())};
}

TEST(Win32XMLTransmitterTest, SplitsTheEndpoint) {
  Cracked plain = Crack("collector/Svc/Messaging.svc/Publish", false);
  EXPECT_EQ("collector", plain.host);
  EXPECT_EQ(80, plain.port);
  EXPECT_EQ("/Svc/Messaging.svc/Publish", plain.path);

  Cracked secure = Crack("collector/Svc/Messaging.svc/Publish", true);
  EXPECT_EQ("collector", secure.host);
  EXPECT_EQ(443, secure.port);

  Cracked query = Crack("collector:8080/p?x=1", false);
  EXPECT_EQ("collector", query.host);
  EXPECT_EQ(8080, query.port);
  EXPECT_EQ("/p?x=1", query.path);
}

}  // namespace
}  // namespace test
}  // namespace qz
