// A collector that answers 503 with Retry-After paces the thread that posted:
// it waits that long before its next post and counts no failure, and what it
// could not post waits in storage.
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "offline/OfflineStorageSenderThread.h"
#include "offline/OfflineTest.h"
#include "qz/API.h"
#include "qz/FlowController.h"
#include "support/LogCapture.h"
#include "support/Receiver.h"

namespace qz {
namespace {

using test::kApplication;
using test::kCompany;
using test::RecordedRequest;
using test::StorageFolder;
const ExtendedKeys* const kNoKeys = nullptr;

class RetryAfterPacingTest : public ::testing::Test {
 protected:
  void SetUp() override {
    API::ApplicationStop(kNoKeys);
    std::string why;
    if (!receiver.Connect(&why)) GTEST_SKIP() << why;
    ASSERT_TRUE(receiver.Reset());
    config.SetCompanyID(kCompany);
    config.SetApplicationID(kApplication);
    config.SetEndpointTimeout(5000);
    config.SetUseSSL(false);
    config.SetEndpointLocation(test::W(receiver.Location(false, "/qz").c_str()).c_str());
    // Passes come often; a counted failure would stop posting for a minute.
    flow.SetMaximumInterval(100);
    flow.SetMaximumSequentialFailureCount(1);
    flow.SetRetryTimeout(60000);
  }
  void TearDown() override {
    API::ApplicationStop(kNoKeys);
    receiver.Reset();
  }
  // Arrival times of the requests whose X-QZ-API says whether they came from
  // storage, in seconds after the first request.
  std::vector<double> Arrivals(bool stored) {
    std::vector<double> times = receiver.Times();
    std::vector<double> chosen;
    for (size_t i = 0; i < times.size(); ++i) {
      RecordedRequest request;
      if (!receiver.Request(static_cast<int>(i), request)) continue;
      const std::vector<std::string> api = request.Values("X-QZ-API");
      const bool offline = !api.empty() && api[0].find(" offline") != std::string::npos;
      if (offline == stored) chosen.push_back(times[i] - times[0]);
    }
    return chosen;
  }
  std::string AllBodies() {
    std::string all;
    for (int i = 0; i < receiver.Count(); ++i) {
      RecordedRequest request;
      if (receiver.Request(i, request)) all += request.body;
    }
    return all;
  }

  StorageFolder storage;
  test::Receiver receiver;
  Configuration config;
  FlowController flow;
};

TEST_F(RetryAfterPacingTest, TheLiveThreadWaitsAsAskedAndLosesNothing) {
  ASSERT_TRUE(receiver.SetStatus(503, "2", 1));
  test::LogCapture log;
  ASSERT_TRUE(API::ApplicationStart(&config, &flow, kNoKeys));
  // A host that keeps reporting while the collector asks for a pause.
  int ticks = 0;
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (Arrivals(false).size() < 2 && std::chrono::steady_clock::now() < deadline) {
    API::FeatureTick(test::W(("tick-" + std::to_string(ticks++)).c_str()).c_str(), kNoKeys);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  API::ApplicationStop(kNoKeys);

  const std::vector<double> live = Arrivals(false);
  ASSERT_GE(live.size(), 2u) << log.Dump();
  // The first live post was refused; the next came once the 2 s were over,
  // and long before the minute a counted failure would have cost.
  EXPECT_EQ(0.0, live[0]);
  EXPECT_GE(live[1], 1.9) << log.Dump();
  EXPECT_LT(live[1], 10.0) << log.Dump();
  // What arrived in between went to storage, and from there to the collector.
  EXPECT_FALSE(Arrivals(true).empty()) << log.Dump();

  // Every tick arrived, or waits in storage for the next run.
  std::string seen = AllBodies();
  auto reader = test::NewStore(false);
  for (const std::string& name : StorageFolder::Files(storage.AppRoot(kCompany), ".QZ")) {
    ASSERT_TRUE(reader->Read(test::PathText(storage.AppRoot(kCompany) / name).c_str()));
    seen += test::U8(reader->GetMessagesText());
  }
  for (int i = 0; i < ticks; ++i) {
    EXPECT_NE(std::string::npos, seen.find("\"tick-" + std::to_string(i) + "\"")) << i;
  }
}

TEST_F(RetryAfterPacingTest, TheStoredBatchesSenderWaitsAsAskedToo) {
  auto writer = test::NewStore(true);
  for (int i = 0; i < 2; ++i) {
    ASSERT_FALSE(test::StoreBatch(*writer, 1000 + i, 1, "<m id=\"" + std::to_string(i) + "\"/>").empty());
  }
  ASSERT_TRUE(receiver.SetStatus(503, "2", 1));
  OfflineStorageSenderThread sender(&config, &flow);
  sender.Start();
  ASSERT_TRUE(test::WaitFor([&] { return receiver.Count() >= 3; }, 20000));
  EXPECT_TRUE(sender.Stop());

  const std::vector<double> stored = Arrivals(true);
  ASSERT_EQ(3u, stored.size());
  EXPECT_GE(stored[1], 1.9);
  EXPECT_LT(stored[1], 10.0);
  // The refused batch was kept and sent again, oldest first.
  std::vector<std::string> ids;
  for (int i = 0; i < 3; ++i) {
    RecordedRequest request;
    ASSERT_TRUE(receiver.Request(i, request));
    for (const std::string& id : test::MessageIds(request.body)) ids.push_back(id);
  }
  EXPECT_EQ((std::vector<std::string>{"0", "0", "1"}), ids);
}

TEST_F(RetryAfterPacingTest, WithoutTheHeaderA503IsAFailureAsBefore) {
  auto writer = test::NewStore(true);
  ASSERT_FALSE(test::StoreBatch(*writer, 1000, 1, "<m id=\"0\"/>").empty());
  ASSERT_TRUE(receiver.SetStatus(503, "", 1));
  OfflineStorageSenderThread sender(&config, &flow);
  sender.Start();
  ASSERT_TRUE(test::WaitFor([&] { return receiver.Count() >= 1; }, 20000));
  // One failure pauses this sender for the minute of its retry timeout.
  std::this_thread::sleep_for(std::chrono::milliseconds(2500));
  EXPECT_EQ(1, receiver.Count());
  EXPECT_TRUE(sender.Stop());
}

}  // namespace
}  // namespace qz
