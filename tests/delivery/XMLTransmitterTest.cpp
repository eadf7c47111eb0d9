#include "delivery/XMLTransmitterTest.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "platform/Platform.h"
#include "support/TestText.h"

namespace qz {
namespace test {

void TransmitterTest::SetUp() {
  std::string why;
  ASSERT_TRUE(receiver.Connect(&why)) << why;
  ASSERT_TRUE(receiver.Reset());
}

void TransmitterTest::TearDown() { receiver.Reset(); }

std::unique_ptr<XMLTransmitter> TransmitterTest::Make(const std::string& location, bool ssl,
                                                      int32_t timeout) {
  Configuration configuration;
  configuration.SetEndpointLocation(W(location.c_str()).c_str());
  configuration.SetUseSSL(ssl);
  configuration.SetEndpointTimeout(timeout);
  return std::unique_ptr<XMLTransmitter>(Platform::NewXMLTransmitter(&configuration));
}

bool TransmitterTest::Send(XMLTransmitter& transmitter, const QZString& body) {
  return transmitter.Post(StringBuf(W("Test/1.0").c_str()),
                          StringBuf(W("11111111-2222-3333-4444-555555555555").c_str()),
                          StringBuf(W("AAAAAAAA-BBBB-CCCC-DDDD-EEEEEEEEEEEE").c_str()),
                          StringBuf(W("99999999-8888-7777-6666-000000000000").c_str()),
                          StringBuf(body.c_str()));
}

namespace {

bool IsOurs(const std::string& line) {
  static const char* const kNames[] = {"content-type:", "cache-control:", "pragma:", "date:",
                                       "x-qz-"};
  std::string lower;
  for (char c : line) lower.push_back(static_cast<char>(std::tolower(static_cast<unsigned char>(c))));
  for (const char* name : kNames) {
    if (lower.compare(0, std::string(name).size(), name) == 0) return true;
  }
  return false;
}

TEST_F(TransmitterTest, SendsTheRequestExactly) {
  auto transmitter = Make(receiver.Location(false, "/Svc/Messaging.svc/Publish?x=1"));
  ASSERT_TRUE(transmitter);
  // e-acute, euro sign and an emoji (a surrogate pair): 2, 3 and 4 bytes in UTF-8.
  QZString body = W("<messages>");
  body += static_cast<QZChar>(0xE9);
  body += static_cast<QZChar>(0x20AC);
  body += static_cast<QZChar>(0xD83D);
  body += static_cast<QZChar>(0xDE00);
  body += W("</messages>");
  const std::string utf8 = "<messages>\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80</messages>";

  LogCapture log;
  ASSERT_TRUE(Send(*transmitter, body)) << log.Dump();
  EXPECT_TRUE(log.Entries().empty()) << log.Dump();

  RecordedRequest got;
  ASSERT_TRUE(receiver.Request(-1, got));
  EXPECT_EQ("POST /Svc/Messaging.svc/Publish?x=1 HTTP/1.1", got.requestLine);
  EXPECT_EQ(utf8, got.body);
  ASSERT_EQ(1u, got.Values("Content-Length").size());
  EXPECT_EQ(std::to_string(utf8.size()), got.Values("Content-Length")[0]);
  EXPECT_TRUE(got.Values("Expect").empty());

  std::vector<std::string> ours;
  for (const std::string& line : got.headerLines) {
    if (IsOurs(line)) ours.push_back(line);
  }
  ASSERT_EQ(8u, ours.size()) << ::testing::PrintToString(got.headerLines);
  EXPECT_EQ("Content-Type: text/xml;charset=UTF-8", ours[0]);
  EXPECT_EQ("Cache-control: no-cache, no-store", ours[1]);
  EXPECT_EQ("Pragma: no-cache", ours[2]);
  // "Date: Tue, 17 Nov 2026 19:42:25 GMT"
  EXPECT_EQ(35u, ours[3].size()) << ours[3];
  EXPECT_EQ("Date: ", ours[3].substr(0, 6));
  EXPECT_EQ(", ", ours[3].substr(9, 2));
  EXPECT_EQ(" GMT", ours[3].substr(31));
  EXPECT_EQ("X-QZ-CID: 11111111-2222-3333-4444-555555555555", ours[4]);
  EXPECT_EQ("X-QZ-AID: AAAAAAAA-BBBB-CCCC-DDDD-EEEEEEEEEEEE", ours[5]);
  EXPECT_EQ("X-QZ-GID: 99999999-8888-7777-6666-000000000000", ours[6]);
  EXPECT_EQ("X-QZ-API: Test/1.0", ours[7]);
}

TEST_F(TransmitterTest, OnlyTwoHundredsSucceed) {
  auto transmitter = Make(receiver.Location(false, "/p"));
  ASSERT_TRUE(transmitter);
  const std::string source = std::string(kTransmitterClass) + "XMLTransmitter::Post";
  for (int status : {204, 200}) {
    LogCapture log;
    ASSERT_TRUE(receiver.SetStatus(status));
    EXPECT_TRUE(Send(*transmitter, W("<m/>"))) << status << log.Dump();
    EXPECT_TRUE(log.Entries().empty()) << log.Dump();
  }
  for (int status : {301, 404, 500}) {
    LogCapture log;
    ASSERT_TRUE(receiver.SetStatus(status));
    EXPECT_FALSE(Send(*transmitter, W("<m/>"))) << status;
    EXPECT_EQ(1, log.Count(source, "QZ server returned " + std::to_string(status)))
        << status << log.Dump();
  }
  // The one session served every post.
  EXPECT_EQ(5, receiver.Count());
}

TEST_F(TransmitterTest, NothingToSendOrNowhereToSend) {
  LogCapture log;
  auto transmitter = Make(receiver.Location(false, "/p"));
  EXPECT_TRUE(Send(*transmitter, QZString()));
  EXPECT_EQ(0, receiver.Count());

  auto unparsable = Make("");
  ASSERT_TRUE(unparsable);
  EXPECT_EQ(1, log.Count(std::string(kTransmitterClass) + "XMLTransmitter::" + kTransmitterClass +
                             "XMLTransmitter",
                         "Unable to parse URL http://"))
      << log.Dump();
  log.Clear();
  EXPECT_FALSE(Send(*unparsable, W("<m/>")));
  EXPECT_FALSE(Send(*unparsable, QZString()));
  EXPECT_TRUE(log.Entries().empty()) << log.Dump();
}

TEST_F(TransmitterTest, RefusedConnectionFailsToSend) {
  auto transmitter = Make("127.0.0.1:" + std::to_string(receiver.ClosedPort()) + "/p");
  LogCapture log;
  EXPECT_FALSE(Send(*transmitter, W("<m/>")));
  EXPECT_EQ(1, log.Count(std::string(kTransmitterClass) + "XMLTransmitter::Post",
                         "Send Request failed"))
      << log.Dump();
}

TEST_F(TransmitterTest, SilentServerIsBoundedByTheTimeout) {
  ASSERT_TRUE(receiver.Hold());
  auto transmitter = Make(receiver.Location(false, "/p"), false, 1500);
  auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(Send(*transmitter, W("<m/>")));
  auto seconds = std::chrono::duration_cast<std::chrono::seconds>(
                     std::chrono::steady_clock::now() - start).count();
  EXPECT_LT(seconds, 30);
  EXPECT_EQ(1, receiver.Count());
}

TEST_F(TransmitterTest, HttpsAcceptsASelfSignedCertificate) {
  auto transmitter = Make(receiver.Location(true, "/secure"), true);
  LogCapture log;
  EXPECT_TRUE(Send(*transmitter, W("<m/>"))) << log.Dump();
  RecordedRequest got;
  ASSERT_TRUE(receiver.Request(-1, got));
  EXPECT_EQ("POST /secure HTTP/1.1", got.requestLine);
  EXPECT_EQ("<m/>", got.body);
}

}  // namespace
}  // namespace test
}  // namespace qz
