#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <thread>

#include "delivery/TransportSetup.h"
#include "delivery/XMLTransmitterTest.h"

namespace qz {
namespace test {

const char kSystem[] = "Posix";

namespace {

TEST_F(TransmitterTest, AbortCutsShortAPostInFlight) {
  ASSERT_TRUE(receiver.Hold());
  auto transmitter = Make(receiver.Location(false, "/p"), false, 120000);
  auto post = std::async(std::launch::async, [&] { return Send(*transmitter, W("<m/>")); });
  // Abort only once the request is out, so that it is the wait that gets cut.
  for (int i = 0; i < 200 && receiver.Count() < 1; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  transmitter->Abort();
  ASSERT_EQ(std::future_status::ready, post.wait_for(std::chrono::seconds(30)));
  EXPECT_FALSE(post.get());

  ASSERT_TRUE(receiver.Reset());
  EXPECT_FALSE(Send(*transmitter, W("<m/>")));
  EXPECT_EQ(0, receiver.Count());
}

// libcurl's convention holds with or without SetUseSystemProxy.
TEST_F(TransmitterTest, HttpsProxyAndNoProxyApplyByDefault) {
  ProxyRestored restored;
  std::string why;
  ASSERT_TRUE(SystemProxy::SetManual(ProxyByName(), "", &why));
  auto transmitter = Make(receiver.Location(true, "/p"), true);
  EXPECT_TRUE(Send(*transmitter, W("<m/>")));
  EXPECT_EQ(1u, receiver.Tunnels().size());
}

}  // namespace
}  // namespace test
}  // namespace qz
