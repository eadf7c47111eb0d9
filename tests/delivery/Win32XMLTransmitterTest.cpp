#include <gtest/gtest.h>

#include "delivery/TransportSetup.h"
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

std::unique_ptr<XMLTransmitter> MakeProxied(const std::string& location, bool useSystemProxy) {
  Configuration configuration;
  configuration.SetEndpointLocation(W(location.c_str()).c_str());
  configuration.SetUseSystemProxy(useSystemProxy);
  return std::unique_ptr<XMLTransmitter>(Platform::NewXMLTransmitter(&configuration));
}

TEST_F(TransmitterTest, TheUsersProxySettingsApplyOnlyWhenAsked) {
  ProxyRestored restored;
  std::string why;
  ASSERT_TRUE(SystemProxy::SetManual(ProxyByName(), "", &why))
      << why;
  auto direct = MakeProxied(receiver.Location(true, "/p"), false);
  EXPECT_TRUE(Send(*direct, W("<m/>")));
  EXPECT_TRUE(receiver.Tunnels().empty());
  EXPECT_EQ(1, receiver.Count());
}

TEST_F(TransmitterTest, AProxyScriptIsFollowedAndOneThatCannotBeFetchedMeansDirect) {
  XMLTransmitter::BeginRun();
  ProxyRestored restored;
  std::string why;
  // The receiver serves a script naming its proxy.
  ASSERT_TRUE(SystemProxy::SetScript(
      "http://127.0.0.1:" + std::to_string(receiver.HttpPort()) + "/__control/proxy.pac", &why))
      << why;
  LogCapture log;
  auto scripted = MakeProxied(receiver.Location(true, "/p"), true);
  ASSERT_TRUE(Send(*scripted, W("<m/>"))) << log.Dump();
  EXPECT_EQ(std::vector<std::string>{"127.0.0.1:" + std::to_string(receiver.HttpsPort())},
            receiver.Tunnels());

  ASSERT_TRUE(receiver.Reset());
  ASSERT_TRUE(SystemProxy::SetScript(
      "http://127.0.0.1:" + std::to_string(receiver.ClosedPort()) + "/proxy.pac", &why))
      << why;
  for (int i = 0; i < 2; ++i) {
    auto unreachable = MakeProxied(receiver.Location(true, "/p"), true);
    EXPECT_TRUE(Send(*unreachable, W("<m/>"))) << log.Dump();
  }
  EXPECT_TRUE(receiver.Tunnels().empty());
  EXPECT_EQ(2, receiver.Count());
  int said = 0;
  for (const LogEntry& entry : log.Entries()) {
    said += entry.message.rfind("No proxy found by the user's automatic settings, posting directly: "
                                "GetLastError() = ", 0) == 0;
  }
  EXPECT_EQ(1, said) << log.Dump();
}

TEST_F(TransmitterTest, AfterAPostWithoutAnAnswerTheProxySettingsAreReadAgain) {
  ProxyRestored restored;
  std::string why;
  // A proxy that is not there: the post gets no answer.
  ASSERT_TRUE(SystemProxy::SetManual("localhost:" + std::to_string(receiver.ClosedPort()), "", &why))
      << why;
  auto transmitter = MakeProxied(receiver.Location(true, "/p"), true);
  EXPECT_FALSE(Send(*transmitter, W("<m/>")));
  EXPECT_EQ(0, receiver.Count());
  ASSERT_TRUE(SystemProxy::SetManual(ProxyByName(), "", &why))
      << why;
  EXPECT_TRUE(Send(*transmitter, W("<m/>")));
  EXPECT_EQ(1u, receiver.Tunnels().size());
  // Answered posts keep the session and its proxy.
  ASSERT_TRUE(SystemProxy::SetManual("", "", &why)) << why;
  EXPECT_TRUE(Send(*transmitter, W("<m/>")));
  EXPECT_EQ(2u, receiver.Tunnels().size());
}

}  // namespace
}  // namespace test
}  // namespace qz
