// Whole runs against the loopback receiver: what cannot be posted waits on
// disk and arrives later, exactly once and oldest first; several senders of
// several processes share one storage folder.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <map>
#include <thread>

#include "offline/OfflineStorageSenderThread.h"
#include "offline/OfflineTest.h"
#include "qz/API.h"
#include "qz/FlowController.h"
#include "support/HelperProcess.h"
#include "support/LogCapture.h"
#include "support/Receiver.h"

namespace qz {
namespace {

using test::kApplication;
using test::kCompany;
using test::kOtherApplication;
using test::LogCapture;
using test::RecordedRequest;
using test::StorageFolder;
using test::U8;
namespace fs = std::filesystem;
const ExtendedKeys* const kNoKeys = nullptr;

// Message ids of the message elements of a batch, in order.
std::vector<std::string> BatchMessageIds(const std::string& batch) {
  static const std::regex kMessage(
      "<(?:app-start|app-stop|session-start|session-stop|feature) generated=\"[^\"]*\" id=\"([^\"]+)\"");
  std::vector<std::string> ids;
  for (std::sregex_iterator i(batch.begin(), batch.end(), kMessage), end; i != end; ++i) {
    ids.push_back((*i)[1]);
  }
  return ids;
}

// Passes of the sender that followed a sleep.
int Sleeps(const LogCapture& log) {
  int n = 0;
  for (const auto& entry : log.Entries()) {
    n += entry.source == "OfflineStorageManager:Run" && entry.message.rfind("Sleep(", 0) == 0;
  }
  return n;
}

class OfflineEndToEndTest : public ::testing::Test {
 protected:
  void SetUp() override {
    API::ApplicationStop(kNoKeys);
    std::string why;
    if (!receiver.Connect(&why)) GTEST_SKIP() << why;
    ASSERT_TRUE(receiver.Reset());
    config.SetCompanyID(kCompany);
    config.SetApplicationID(kApplication);
    config.SetApplicationName(QZ_TEXT("Editor"));
    config.SetEndpointTimeout(1500);
    config.SetUseSSL(false);
    UseEndpoint(receiver.HttpPort());
  }
  void TearDown() override {
    API::ApplicationStop(kNoKeys);
    receiver.Reset();
  }
  void UseEndpoint(int port) {
    config.SetEndpointLocation(test::W(("127.0.0.1:" + std::to_string(port) + "/qz").c_str()).c_str());
  }
  fs::path AppRoot() const { return storage.AppRoot(kCompany); }
  std::vector<std::string> Stored() const { return StorageFolder::Files(AppRoot(), ".QZ"); }
  std::vector<RecordedRequest> Requests() {
    std::vector<RecordedRequest> requests(static_cast<size_t>(std::max(0, receiver.Count())));
    for (size_t i = 0; i < requests.size(); ++i) receiver.Request(static_cast<int>(i), requests[i]);
    return requests;
  }

  StorageFolder storage;
  test::Receiver receiver;
  Configuration config;
};

TEST_F(OfflineEndToEndTest, BatchesStoredWhileTheEndpointIsDownArriveLaterOnceOldestFirst) {
  const std::vector<std::pair<std::string, std::function<void()>>> outages = {
      {"refused", [&] { UseEndpoint(receiver.ClosedPort()); }},
      {"500", [&] {
         UseEndpoint(receiver.HttpPort());
         receiver.SetStatus(500);
       }},
      {"silent", [&] { receiver.Hold(); }}};
  for (const auto& outage : outages) {
    SCOPED_TRACE(outage.first);
    outage.second();
    ASSERT_TRUE(API::ApplicationStart(&config, kNoKeys));
    API::FeatureTick(test::W(outage.first.c_str()).c_str(), kNoKeys);
    API::ApplicationStop(kNoKeys);
  }
  // One batch per run, each a whole run of messages.
  std::vector<std::string> expected;
  auto reader = test::NewStore(false);
  for (const std::string& name : Stored()) {
    ASSERT_TRUE(reader->Read(test::PathText(AppRoot() / name).c_str()));
    for (const std::string& id : BatchMessageIds(U8(reader->GetMessagesText()))) expected.push_back(id);
  }
  ASSERT_EQ(3u, Stored().size());
  ASSERT_EQ(3u * 5, expected.size());

  ASSERT_TRUE(receiver.Reset());
  UseEndpoint(receiver.HttpPort());
  FlowController flow;
  flow.SetMaximumInterval(100);
  LogCapture log;
  ASSERT_TRUE(API::ApplicationStart(&config, &flow, kNoKeys));
  EXPECT_TRUE(test::WaitFor([&] { return Stored().empty(); }, 20000)) << log.Dump();
  API::ApplicationStop(kNoKeys);

  std::vector<std::string> arrived;
  for (const RecordedRequest& request : Requests()) {
    const std::vector<std::string> platform = request.Values("X-QZ-API");
    ASSERT_EQ(1u, platform.size());
    if (platform[0].find(" offline") == std::string::npos) continue;
    EXPECT_EQ(std::vector<std::string>{U8(kApplication)}, request.Values("X-QZ-AID"));
    EXPECT_EQ(std::string::npos, request.body.find("agent-name")) << request.body;
    for (const std::string& id : BatchMessageIds(request.body)) arrived.push_back(id);
  }
  EXPECT_EQ(expected, arrived);
  EXPECT_TRUE(Stored().empty());
  EXPECT_TRUE(StorageFolder::Files(AppRoot(), ".tmp").empty());
}

TEST_F(OfflineEndToEndTest, AnOfflineRunStoresEverythingAndSendsNothing) {
  config.SetOffline(true);
  for (int run = 0; run < 2; ++run) {
    ASSERT_TRUE(API::ApplicationStart(&config, kNoKeys));
    API::FeatureTick(QZ_TEXT("Zoom"), kNoKeys);
    API::SendMessages();
    API::ApplicationStop(kNoKeys);
  }
  EXPECT_EQ(0, receiver.Count());
  // Both runs whole, in one or more batches each.
  auto reader = test::NewStore(false);
  size_t messages = 0;
  for (const std::string& name : Stored()) {
    ASSERT_TRUE(reader->Read(test::PathText(AppRoot() / name).c_str()));
    EXPECT_EQ("Editor", U8(reader->GetApplicationName()));
    messages += BatchMessageIds(U8(reader->GetMessagesText())).size();
  }
  EXPECT_EQ(2u * 5, messages);
}

uint64_t FixedClock() { return 1763408545000; }

TEST_F(OfflineEndToEndTest, TwoBatchesOfOneApplicationInTheSameMillisecondAreBothKept) {
  config.SetOffline(true);
  testhooks::ClockFunction previous = testhooks::SetClockOverride(&FixedClock);
  for (int run = 0; run < 2; ++run) {
    ASSERT_TRUE(API::ApplicationStart(&config, kNoKeys));
    API::ApplicationStop(kNoKeys);
  }
  testhooks::SetClockOverride(previous);
  const std::vector<std::string> expected = {"00000MI3JX1IG-" + U8(kApplication) + ".QZ",
                                             "00000MI3JX1IH-" + U8(kApplication) + ".QZ"};
  EXPECT_EQ(expected, Stored());
}

// The sender thread alone, with stored batches and the receiver answering.
class OfflineSenderTest : public OfflineEndToEndTest {
 protected:
  void StoreBatches(int count) {
    auto writer = test::NewStore(true);
    for (int i = 0; i < count; ++i) {
      ASSERT_FALSE(test::StoreBatch(*writer, 1000 + i, 1, "<m id=\"" + std::to_string(i) + "\"/>").empty());
    }
  }
  std::vector<std::string> Sent() {
    std::vector<std::string> ids;
    for (const RecordedRequest& request : Requests()) {
      for (const std::string& id : test::MessageIds(request.body)) ids.push_back(id);
    }
    return ids;
  }
  static void Settle() { std::this_thread::sleep_for(std::chrono::milliseconds(300)); }

  FlowController flow;
};

TEST_F(OfflineSenderTest, SendsAtOnceThenPerIntervalAndForcedSendsBypassTheFlow) {
  StoreBatches(4);
  LogCapture log;
  OfflineStorageSenderThread sender(&config, &flow);
  sender.Start();
  // The first pass runs without a sleep; the next waits for an interval of seconds.
  ASSERT_TRUE(test::WaitFor([&] { return receiver.Count() == 1; }, 10000));
  Settle();
  EXPECT_EQ(std::vector<std::string>{"0"}, Sent());
  EXPECT_EQ(1, Sleeps(log)) << log.Dump();

  sender.SendNow();
  ASSERT_TRUE(test::WaitFor([&] { return receiver.Count() == 2; }, 10000));
  sender.SetSendDisabled(true);
  sender.SendNow();
  ASSERT_TRUE(test::WaitFor([&] { return receiver.Count() == 3; }, 10000));
  sender.SetSendDisabled(false);
  ASSERT_TRUE(test::WaitFor([&] { return receiver.Count() == 4; }, 10000));
  Settle();
  EXPECT_EQ((std::vector<std::string>{"0", "1", "2", "3"}), Sent());
  EXPECT_EQ(4, Sleeps(log)) << log.Dump();
  EXPECT_TRUE(sender.Stop());
}

TEST_F(OfflineSenderTest, EndsByItselfWhenNothingIsStoredAndNothingWillBe) {
  flow.SetSupportOfflineStorage(false);
  LogCapture log;
  OfflineStorageSenderThread sender(&config, &flow);
  sender.Start();
  // The first pass made the folder and its lock file, found nothing and ended the thread.
  ASSERT_TRUE(test::WaitFor([&] { return fs::exists(AppRoot() / "q.lck"); }, 10000));
  Settle();
  StoreBatches(1);
  sender.SendNow();
  sender.SetSendDisabled(false);
  Settle();
  EXPECT_EQ(0, receiver.Count());
  EXPECT_EQ(0, Sleeps(log)) << log.Dump();
  EXPECT_TRUE(sender.Stop());
}

// One process of two that store and send through one folder: stores count
// batches named by its own application, trying one send after each, then
// sends until nothing is left. A failed send is tried again later, as the
// sender thread would (a loaded loopback may drop a post); exits 0 unless
// sends kept failing.
int StoreAndSend(const std::string& base, const std::string& location, int index, int count) {
  StorageFolder storage(base, StorageFolder::Use::kExisting);
  Configuration config;
  config.SetEndpointLocation(test::W(location.c_str()).c_str());
  config.SetUseSSL(false);
  config.SetEndpointTimeout(5000);
  std::unique_ptr<XMLTransmitter> transmitter(Platform::NewXMLTransmitter(&config));
  auto writer = test::NewStore(true, index == 0 ? kApplication : kOtherApplication);
  auto sender = test::NewStore(false, index == 0 ? kApplication : kOtherApplication);
  int failures = 0;
  auto send = [&] {
    const int32_t result = sender->SendNext(*transmitter);
    failures += result == OfflineData::kBatchFailed || result == OfflineData::kFailed;
    if (result == OfflineData::kLocked) std::this_thread::sleep_for(std::chrono::milliseconds(5));
    return result;
  };
  for (int i = 0; i < count; ++i) {
    const std::string id = std::to_string(index) + "-" + std::to_string(i);
    if (test::StoreBatch(*writer, 1000 + 2 * i + index, 1, "<m id=\"" + id + "\"/>").empty()) return 1;
    send();
  }
  for (int attempt = 0; attempt < 2000 && failures < 10; ++attempt) {
    if (send() == OfflineData::kNothingStored) return 0;
  }
  return 2;
}

int StoreAndSendHelper(const std::vector<std::string>& args) {
  return args.size() == 3 ? StoreAndSend(args[0], args[1], 1, std::stoi(args[2])) : 2;
}
test::HelperRegistration storeAndSend("store-and-send", &StoreAndSendHelper);

TEST_F(OfflineEndToEndTest, TwoProcessesSharingTheFolderPostEveryBatchExactlyOnce) {
  const int count = 40;
  const std::string location = receiver.Location(false, "/qz");
  test::HelperProcess helper;
  ASSERT_TRUE(helper.Start("store-and-send",
                           {test::U8(test::PathText(storage.Base())), location, std::to_string(count)}));
  // Start together: once the helper has stored its first batch.
  EXPECT_TRUE(test::WaitFor([&] {
    for (const std::string& name : Stored()) {
      if (name.find(U8(kOtherApplication)) != std::string::npos) return true;
    }
    return false;
  }, 30000));
  EXPECT_EQ(0, StoreAndSend(test::U8(test::PathText(storage.Base())), location, 0, count));
  EXPECT_EQ(0, helper.Wait(60000));

  std::map<std::string, int> posts;
  for (const RecordedRequest& request : Requests()) {
    for (const std::string& id : test::MessageIds(request.body)) ++posts[id];
  }
  EXPECT_EQ(2u * count, posts.size());
  for (const auto& post : posts) EXPECT_EQ(1, post.second) << post.first;
  EXPECT_TRUE(Stored().empty());
}

TEST_F(OfflineSenderTest, NonFilesNamedLikeTheOldestHoldUpNeitherTheOthersNorTheStop) {
  StoreBatches(3);
  const std::string app = "-" + U8(kApplication) + ".QZ";
  const test::PlantedNonFiles plant(AppRoot(), "0000000000000" + app, "0000000000001" + app,
                                    "0000000000002" + app);
  if (!plant.IsPlanted()) GTEST_SKIP() << "no FIFOs or links can be made here";
  flow.SetMaximumInterval(100);
  OfflineStorageSenderThread sender(&config, &flow);
  sender.Start();
  EXPECT_TRUE(test::WaitFor([&] { return receiver.Count() == 3; }, 20000));
  const auto begin = std::chrono::steady_clock::now();
  // A sender stuck in an open would be ended by force at the stop timeout.
  EXPECT_TRUE(sender.Stop());
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(sender.GetStopTimeout()));
  EXPECT_EQ((std::vector<std::string>{"0", "1", "2"}), Sent());
  EXPECT_EQ(3u, Stored().size());  // the three planted, where they were
}

TEST_F(OfflineSenderTest, ABatchRefusedWith400IsSetAsideAndEveryOtherArrives) {
  StoreBatches(4);
  ASSERT_TRUE(receiver.SetStatusFor("<m id=\"0\"/>", 400));
  flow.SetMaximumInterval(100);
  OfflineStorageSenderThread sender(&config, &flow);
  sender.Start();
  const std::string aside = "00000000000RS-" + U8(kApplication) + ".QZ.refused";  // stored at 1000
  EXPECT_TRUE(test::WaitFor([&] {
    return Stored().empty() && StorageFolder::Files(AppRoot(), ".refused") == std::vector<std::string>{aside};
  }, 30000));
  Settle();
  EXPECT_TRUE(sender.Stop());
  std::map<std::string, int> posts;
  std::vector<std::string> others;
  for (const std::string& id : Sent()) {
    ++posts[id];
    if (id != "0") others.push_back(id);
  }
  EXPECT_EQ(3, posts["0"]);
  EXPECT_EQ((std::vector<std::string>{"1", "2", "3"}), others);
  EXPECT_TRUE(StorageFolder::Files(AppRoot(), ".tmp").empty());
}

TEST_F(OfflineSenderTest, ABatchAnswered500StaysTheOldestAndPausesTheSender) {
  StoreBatches(3);
  ASSERT_TRUE(receiver.SetStatusFor("<m id=\"0\"/>", 500));
  flow.SetMaximumInterval(100);
  OfflineStorageSenderThread sender(&config, &flow);
  sender.Start();
  // Three failures in a row start the pause (60 s by default).
  ASSERT_TRUE(test::WaitFor([&] { return receiver.Count() == 3; }, 20000));
  std::this_thread::sleep_for(std::chrono::seconds(1));
  EXPECT_EQ((std::vector<std::string>{"0", "0", "0"}), Sent());
  EXPECT_EQ(3u, Stored().size());
  // A forced send goes through the pause; its success ends it.
  ASSERT_TRUE(receiver.Reset());
  sender.SendNow();
  EXPECT_TRUE(test::WaitFor([&] { return Stored().empty(); }, 20000));
  EXPECT_TRUE(sender.Stop());
  EXPECT_EQ((std::vector<std::string>{"0", "1", "2"}), Sent());
}

// Messages of the "Dropped N stored messages (limit)" warnings in log.
uint64_t Dropped(const LogCapture& log) {
  static const std::regex kDropped("Dropped ([0-9]+) stored messages \\(limit\\)");
  uint64_t n = 0;
  for (const auto& entry : log.Entries()) {
    std::smatch match;
    if (entry.source == "OfflineData::MakeRoom" && std::regex_match(entry.message, match, kDropped)) {
      n += std::stoull(match[1]);
    }
  }
  return n;
}

// Messages in the stored batches of the folder.
uint64_t StoredMessages(const fs::path& appRoot) {
  auto reader = test::NewStore(false);
  uint64_t n = 0;
  for (const std::string& name : StorageFolder::Files(appRoot, ".QZ")) {
    if (reader->Read(test::PathText(appRoot / name).c_str())) n += reader->GetMessageCount();
  }
  return n;
}

TEST_F(OfflineEndToEndTest, UnderALimitRunsWithTheEndpointDownDropTheOldestFirst) {
  UseEndpoint(receiver.ClosedPort());
  auto run = [&](const char* feature) {
    ASSERT_TRUE(API::ApplicationStart(&config, kNoKeys));
    API::FeatureTick(test::W(feature).c_str(), kNoKeys);
    API::ApplicationStop(kNoKeys);
  };
  run("first");
  ASSERT_EQ(1u, Stored().size());
  const std::string first = Stored()[0];
  const uint64_t limit = 3 * test::FolderBytes(AppRoot()) + test::FolderBytes(AppRoot()) / 2;
  config.SetOfflineStorageLimit(limit);
  LogCapture log;
  const int runs = 6;
  for (int i = 1; i < runs; ++i) {
    run("later");
    EXPECT_LE(test::FolderBytes(AppRoot()), limit) << i;
  }
  const std::vector<std::string> left = Stored();
  EXPECT_EQ(3u, left.size());
  EXPECT_TRUE(std::find(left.begin(), left.end(), first) == left.end());
  // Every message of every run is either still stored or counted as dropped.
  EXPECT_EQ(5u * runs, StoredMessages(AppRoot()) + Dropped(log)) << log.Dump();
  EXPECT_EQ(0, receiver.Count());
}

// One of two processes that store batches of 2 messages, all of one size,
// into one folder under one limit at the same time; writes the number of
// messages it dropped into the file named by its last argument.
int StoreWithinLimit(const std::string& base, int index, int count, uint64_t limit,
                     const std::string& report) {
  StorageFolder storage(base, StorageFolder::Use::kExisting);
  auto writer = test::NewStore(true, index == 0 ? kApplication : kOtherApplication);
  writer->SetStorageLimit(limit);
  LogCapture log;
  for (int i = 0; i < count; ++i) {
    char id[16];
    std::snprintf(id, sizeof id, "%d-%04d", index, i);
    test::StoreBatch(*writer, 1000 + 2 * static_cast<uint64_t>(i) + static_cast<uint64_t>(index), 2,
                     std::string("<m id=\"") + id + "\"/><m/>");
  }
  test::WriteBytes(report, std::to_string(Dropped(log)));
  return 0;
}

int StoreWithinLimitHelper(const std::vector<std::string>& args) {
  return args.size() == 4 ? StoreWithinLimit(args[0], 1, std::stoi(args[1]), std::stoull(args[2]), args[3]) : 2;
}
test::HelperRegistration storeWithinLimit("store-within-limit", &StoreWithinLimitHelper);

TEST(OfflineLimitTest, TwoProcessesStoringAtOnceKeepTheLimitBetweenThem) {
  StorageFolder storage;
  const std::string base = test::U8(test::PathText(storage.Base()));
  const fs::path sample = test::StoreBatch(*test::NewStore(true), 1, 2, "<m id=\"0-0000\"/><m/>");
  const uint64_t limit = 5 * fs::file_size(sample);
  fs::remove(sample);
  const int count = 40;
  const fs::path report = storage.Base() / "dropped-by-helper";
  test::HelperProcess helper;
  ASSERT_TRUE(helper.Start("store-within-limit",
                           {base, std::to_string(count), std::to_string(limit), test::U8(test::PathText(report))}));
  EXPECT_EQ(0, StoreWithinLimit(base, 0, count, limit, test::U8(test::PathText(storage.Base() / "dropped"))));
  EXPECT_EQ(0, helper.Wait(60000));
  const fs::path appRoot = storage.AppRoot(kCompany);
  EXPECT_LE(test::FolderBytes(appRoot), limit);
  EXPECT_EQ(5u, StorageFolder::Files(appRoot, ".QZ").size());
  const uint64_t dropped = std::stoull("0" + test::ReadBytes(storage.Base() / "dropped")) +
                           std::stoull("0" + test::ReadBytes(report));
  EXPECT_EQ(2u * 2 * count, StoredMessages(appRoot) + dropped);
}

}  // namespace
}  // namespace qz
