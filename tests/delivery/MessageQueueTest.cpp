#include "delivery/MessageQueue.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <thread>
#include <vector>

#include "messages/SessionStart.h"
#include "qz/Configuration.h"
#include "qz/FlowController.h"
#include "support/LogCapture.h"
#include "support/TestText.h"

namespace qz {
namespace {

using test::U8;

// Waits (bounded) until the transmitter logged a pass over exactly count messages.
bool WaitForPass(const test::LogCapture& log, int count, int milliseconds = 10000) {
  const std::string text = "Processing " + std::to_string(count) + " messages";
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
  while (!log.Contains("TransmitterThread::ProcessQueue", text)) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return true;
}

class MessageQueueTest : public ::testing::Test {
 protected:
  MessageQueueTest() {
    // Posts fail at once against a closed port; nothing is stored.
    config.SetEndpointLocation(QZ_TEXT("127.0.0.1:9/qz"));
    config.SetUseSSL(false);
    config.SetEndpointTimeout(1000);
    flow.SetSupportOfflineStorage(false);
  }
  static Message* NewMessage() {
    return new SessionStart(test::W("6B0D549B-6F03-475A-9600-A35A099950D8").c_str(), nullptr,
                            nullptr);
  }
  void Add(MessageQueue& queue, int count, std::vector<Message*>* added = nullptr) {
    for (int i = 0; i < count; ++i) {
      Message* message = NewMessage();
      if (added != nullptr) added->push_back(message);
      delete queue.Add(message);
    }
  }
  // The default interval is 30 s, so a pass within this pause would be a wake.
  bool NoPassFor300ms() {
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    for (const auto& entry : log.Entries()) {
      if (entry.message.rfind("Processing ", 0) == 0) return false;
    }
    return true;
  }

  Configuration config;
  FlowController flow;
  test::LogCapture log;
};

TEST_F(MessageQueueTest, HighWaterMarkWakesTheTransmitter) {
  MessageQueue queue(&config, &flow);
  queue.Start();
  Add(queue, 19);
  EXPECT_TRUE(NoPassFor300ms()) << log.Dump();
  Add(queue, 1);
  EXPECT_TRUE(WaitForPass(log, 20)) << log.Dump();
  queue.Stop();
}

TEST_F(MessageQueueTest, OverflowDropsTheOldestAndKeepsTheQueueSize) {
  MessageQueue queue(&config, &flow);  // not started: nothing takes messages away
  std::vector<Message*> added;
  Add(queue, 30, &added);
  EXPECT_EQ(0, log.Count("MessageQueue", "Queue overflow; message dropped"));
  // The oldest comes back, for the caller to destroy outside its locks.
  added.push_back(NewMessage());
  std::unique_ptr<Message> dropped(queue.Add(added.back()));
  EXPECT_EQ(added[0], dropped.get());
  EXPECT_EQ(1, log.Count("MessageQueue", "Queue overflow; message dropped"));
  std::vector<Message*> taken;
  queue.TakeAll(taken);
  ASSERT_EQ(30u, taken.size());
  EXPECT_EQ(U8(added[1]->GetID()), U8(taken[0]->GetID()));
  EXPECT_EQ(U8(added[30]->GetID()), U8(taken[29]->GetID()));
  for (Message* message : taken) delete message;
}

TEST_F(MessageQueueTest, SendingDisabledNeverWakesButSendMessagesForcesAPass) {
  flow.SetSendDisabled(true);
  MessageQueue queue(&config, &flow);
  queue.Start();
  Add(queue, 31);
  EXPECT_TRUE(NoPassFor300ms()) << log.Dump();
  queue.SendMessages();
  EXPECT_TRUE(WaitForPass(log, 30)) << log.Dump();
  queue.Stop();
}

TEST_F(MessageQueueTest, StopMakesALastPassAndThenRefusesEverything) {
  MessageQueue queue(&config, &flow);
  queue.Start();
  Add(queue, 3);
  queue.Stop();
  // The last pass ran before Stop returned.
  EXPECT_TRUE(log.Contains("TransmitterThread::ProcessQueue", "Processing 3 messages")) << log.Dump();
  log.Clear();
  Message* refused = NewMessage();
  std::unique_ptr<Message> back(queue.Add(refused));
  EXPECT_EQ(refused, back.get());
  Add(queue, 25);
  queue.SendMessages();
  queue.Stop();
  std::vector<Message*> taken;
  queue.TakeAll(taken);
  EXPECT_TRUE(taken.empty());
  EXPECT_TRUE(log.Entries().empty()) << log.Dump();
}

}  // namespace
}  // namespace qz
