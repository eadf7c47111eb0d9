#include "delivery/XMLTransmitterTest.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

namespace qz {
namespace test {
namespace {

TEST_F(TransmitterTest, SendsTheRequestExactlyOverHttpAndHttps) {
  // e-acute, euro sign and an emoji (a surrogate pair): 2, 3 and 4 bytes in UTF-8.
  const QZChar text[] = {0xE9, 0x20AC, 0xD83D, 0xDE00, 0};
  const QZString body = W("<messages>") + text + W("</messages>");
  const std::string utf8 = "<messages>\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80</messages>";
  const std::vector<std::string> expected = {
      "Content-Type: text/xml;charset=UTF-8", "Cache-control: no-cache, no-store", "Pragma: no-cache",
      "Date: ", "X-QZ-CID: 11111111-2222-3333-4444-555555555555",
      "X-QZ-AID: AAAAAAAA-BBBB-CCCC-DDDD-EEEEEEEEEEEE",
      "X-QZ-GID: 99999999-8888-7777-6666-000000000000", "X-QZ-API: Test/1.0"};
  for (bool https : {false, true}) {  // the receiver's certificate is self-signed
    auto transmitter = Make(receiver.Location(https, "/Svc/Messaging.svc/Publish?x=1"), https);
    ASSERT_TRUE(transmitter);
    LogCapture log;
    ASSERT_TRUE(Send(*transmitter, body)) << log.Dump();
    EXPECT_TRUE(log.Entries().empty()) << log.Dump();

    RecordedRequest got;
    ASSERT_TRUE(receiver.Request(-1, got));
    EXPECT_EQ("POST /Svc/Messaging.svc/Publish?x=1 HTTP/1.1", got.requestLine);
    EXPECT_EQ(utf8, got.body);
    EXPECT_EQ(std::vector<std::string>{std::to_string(utf8.size())}, got.Values("Content-Length"));
    EXPECT_TRUE(got.Values("Expect").empty());
    // Ours, in this order, each once; the client may add its own around them.
    std::vector<std::string> ours;
    for (const std::string& line : got.headerLines) {
      for (const std::string& header : expected) {
        const size_t name = header.find(':') + 1;
        if (line.compare(0, name, header, 0, name) == 0) ours.push_back(line);
      }
    }
    ASSERT_EQ(8u, ours.size()) << ::testing::PrintToString(got.headerLines);
    for (size_t i = 0; i < 8; ++i) EXPECT_EQ(expected[i], i == 3 ? ours[i].substr(0, 6) : ours[i]);
    // "Date: Tue, 17 Nov 2026 19:42:25 GMT"
    EXPECT_EQ(35u, ours[3].size()) << ours[3];
    EXPECT_EQ(", ", ours[3].substr(9, 2));
    EXPECT_EQ(" GMT", ours[3].substr(31));
  }
}

TEST_F(TransmitterTest, OnlyTwoHundredsSucceed) {
  auto transmitter = Make(receiver.Location(false, "/p"));
  ASSERT_TRUE(transmitter);
  for (int status : {204, 200, 301, 404, 500}) {
    LogCapture log;
    ASSERT_TRUE(receiver.SetStatus(status));
    const int failed = status >= 300 ? 1 : 0;
    EXPECT_EQ(failed == 0, Send(*transmitter, W("<m/>"))) << status;
    EXPECT_EQ(status, transmitter->GetLastStatus());
    EXPECT_EQ(failed, log.Count(std::string(kSystem) + "XMLTransmitter::Post",
                                "QZ server returned " + std::to_string(status)));
    EXPECT_EQ(failed, static_cast<int>(log.Entries().size())) << log.Dump();
  }
  EXPECT_EQ(5, receiver.Count());  // the one session served every post
}

TEST_F(TransmitterTest, NothingToSendOrNowhereToSend) {
  LogCapture log;
  auto transmitter = Make(receiver.Location(false, "/p"));
  EXPECT_TRUE(Send(*transmitter, QZString()));
  EXPECT_EQ(0, receiver.Count());

  auto unparsable = Make("");
  ASSERT_TRUE(unparsable);
  const std::string name = std::string(kSystem) + "XMLTransmitter";
  EXPECT_EQ(1, log.Count(name + "::" + name, "Unable to parse URL http://")) << log.Dump();
  log.Clear();
  EXPECT_FALSE(Send(*unparsable, W("<m/>")));
  EXPECT_EQ(0, unparsable->GetLastStatus());
  EXPECT_FALSE(Send(*unparsable, QZString()));
  EXPECT_TRUE(log.Entries().empty()) << log.Dump();
}

TEST_F(TransmitterTest, RefusedConnectionAndSilentServerFailInBoundedTime) {
  auto refused = Make("127.0.0.1:" + std::to_string(receiver.ClosedPort()) + "/p");
  LogCapture log;
  EXPECT_FALSE(Send(*refused, W("<m/>")));
  EXPECT_EQ(1, log.Count(std::string(kSystem) + "XMLTransmitter::Post", "Send Request failed"))
      << log.Dump();

  ASSERT_TRUE(receiver.Hold());
  auto silent = Make(receiver.Location(false, "/p"), false, 1500);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(Send(*silent, W("<m/>")));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30));
  EXPECT_EQ(1, receiver.Count());
}

}  // namespace
}  // namespace test
}  // namespace qz
