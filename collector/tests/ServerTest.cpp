// The collector in-process on loopback ports, fed good and hostile requests.
#include <gtest/gtest.h>
#include <httplib.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <thread>

#include "TestBatches.h"
#include "TestHttp.h"
#include "server/Collector.h"

namespace qz {
namespace collector {
namespace {

using test::Answer;
using test::Guid;
using test::TestBatch;
using Clock = std::chrono::steady_clock;

class ServerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char dir[] = "/tmp/qz-server-test-XXXXXX";
    ASSERT_NE(nullptr, mkdtemp(dir));
    folder = dir;
    CollectorOptions options;
    options.sqlitePath = folder + "/test.db";
    options.certFile = folder + "/cert.pem";
    options.keyFile = folder + "/key.pem";
    options.httpPort = 0;
    options.httpsPort = 0;
    // Short, so that the slow cases take seconds.
    options.limits.requestTimeoutMs = 2500;
    options.limits.readTimeoutMs = 1500;
    options.limits.keepAliveMs = 1000;
    options.limits.workers = 4;
    options.limits.maxQueued = 32;
    collector = std::make_unique<Collector>(options);
    std::string error;
    ASSERT_TRUE(collector->Start(error)) << error;
    port = collector->HttpPort();
  }

  void TearDown() override {
    collector.reset();
    std::system(("rm -rf " + folder).c_str());
  }

  // A good batch with one message, numbered so that each is new.
  static TestBatch Good(int n) {
    TestBatch b(n);
    b.messages = {test::Feature(Guid(n, 0xFEA7), b.group, n, Guid(n, 0xFEA7), "Zoom", "tick")};
    return b;
  }

  void ExpectStillServing() {
    EXPECT_EQ(204, test::Exchange(port, Good(++next).Request()).status) << "the next good batch";
  }

  int64_t Stored() {
    QueryResult r;
    std::string error;
    EXPECT_TRUE(collector->GetStore().Query("SELECT COUNT(*) FROM batches", {}, r, error)) << error;
    return r.rows.empty() ? -1 : std::atoll(r.rows[0][0]->c_str());
  }

  std::string folder;
  std::unique_ptr<Collector> collector;
  int port = 0;
  int next = 1000;
};

TEST_F(ServerTest, StoresBatchesOverHttpAndHttpsOnce) {
  const TestBatch b = Good(1);
  EXPECT_EQ(204, test::Exchange(port, b.Request()).status);
  EXPECT_EQ(204, test::Exchange(port, b.Request("/any/collector.svc/Publish")).status) << "again, elsewhere";

  httplib::SSLClient tls("127.0.0.1", collector->HttpsPort());
  tls.enable_server_certificate_verification(false);
  tls.set_read_timeout(10, 0);
  const TestBatch secure = Good(2);
  const httplib::Headers headers = {{"X-QZ-CID", test::kCompany},
                                    {"X-QZ-AID", test::kApplication},
                                    {"X-QZ-GID", secure.group},
                                    {"X-QZ-API", "Win32/1.0"}};
  auto answer = tls.Post(test::kPublishPath, headers, secure.Body(), "text/xml;charset=UTF-8");
  ASSERT_TRUE(answer);
  EXPECT_EQ(204, answer->status);
  EXPECT_EQ(2, Stored());

  auto page = tls.Get("/");
  ASSERT_TRUE(page);
  EXPECT_EQ(200, page->status);
  EXPECT_NE(std::string::npos, page->body.find("data-name=\"Zoom\" data-uses=\"2\""));
}

TEST_F(ServerTest, RefusesMalformedRequestsAndKeepsServing) {
  const std::string good = Good(1).Request();
  const auto replaced = [&](const std::string& from, const std::string& to) {
    std::string request = good;
    request.replace(request.find(from), from.size(), to);
    // Keep Content-Length true to the changed body.
    const size_t body = request.find("\r\n\r\n") + 4;
    const size_t at = request.find("Content-Length: ") + 16;
    request.replace(at, request.find("\r\n", at) - at, std::to_string(request.size() - body));
    return request;
  };
  const struct {
    std::string request;
    int status;
    const char* reason;
  } cases[] = {
      {replaced("</messages>", ""), 400, "not well-formed"},
      {replaced("</messages>", "<surprise/>\n</messages>"), 400, "surprise"},
      {replaced(" event=\"tick\"", ""), 400, "event"},
      {replaced(Guid(1, 0xFEA7) + "\" session", "not-a-guid\" session"), 400, "not-a-guid"},
      {replaced(std::string("X-QZ-CID: ") + test::kCompany, "X-QZ-CID: " + Guid(5)), 400, "X-QZ-CID"},
      {replaced("X-QZ-API: Win32/1.0", "X-QZ-API: Win32/1.0 offline"), 400, "stored batch"},
      {replaced("Content-Type: text/xml", "Content-Type: text/plain"), 400, "Content-Type"},
      {replaced("Pragma: no-cache", "Content-Encoding: gzip"), 415, "Content-Encoding"},
      {replaced("/Publish HTTP", "/Submit HTTP"), 404, ""},
  };
  for (const auto& c : cases) {
    const Answer answer = test::Exchange(port, c.request);
    EXPECT_EQ(c.status, answer.status) << c.reason;
    EXPECT_NE(std::string::npos, answer.body.find(c.reason)) << answer.body;
  }
  // A body cut short: the client stops sending and half-closes.
  const int fd = test::Connect(port);
  ASSERT_GE(fd, 0);
  std::string cut = good.substr(0, good.size() - 40);
  ASSERT_TRUE(test::SendAll(fd, cut));
  ::shutdown(fd, SHUT_WR);
  const Answer answer = test::ReadAnswer(fd);
  ::close(fd);
  EXPECT_EQ(400, answer.status);
  EXPECT_EQ("incomplete body\n", answer.body);

  EXPECT_EQ(0, Stored());
  ExpectStillServing();
}

TEST_F(ServerTest, RefusesAFiftyMegabyteBody) {
  const std::string piece(1 << 20, 'x');
  for (const bool chunked : {false, true}) {
    const int fd = test::Connect(port);
    ASSERT_GE(fd, 0);
    const TestBatch b = Good(1);
    std::string head = std::string("POST ") + test::kPublishPath + " HTTP/1.1\r\nHost: x\r\n" +
                       "Content-Type: text/xml;charset=UTF-8\r\nX-QZ-CID: " + test::kCompany + "\r\nX-QZ-AID: " +
                       test::kApplication + "\r\nX-QZ-GID: " + b.group + "\r\nX-QZ-API: Win32/1.0\r\n";
    head += chunked ? "Transfer-Encoding: chunked\r\n\r\n" : "Content-Length: 52428800\r\n\r\n";
    ASSERT_TRUE(test::SendAll(fd, head));
    // The collector may answer and stop reading before all of it is sent.
    for (int i = 0; i < 50; ++i) {
      const std::string data = chunked ? "100000\r\n" + piece + "\r\n" : piece;
      if (!test::SendAll(fd, data)) break;
    }
    const Answer answer = test::ReadAnswer(fd);
    ::close(fd);
    EXPECT_EQ(413, answer.status) << (chunked ? "chunked" : "with Content-Length");
  }
  ExpectStillServing();
}

TEST_F(ServerTest, SlowAndSilentClientsTimeOut) {
  const int slow = test::Connect(port);
  const int silent = test::Connect(port);
  ASSERT_GE(slow, 0);
  ASSERT_GE(silent, 0);
  const auto start = Clock::now();
  std::atomic<bool> done{false};
  // One byte a second, for longer than the request may take.
  std::thread sender([&] {
    const std::string request = Good(1).Request();
    for (size_t i = 0; i < 8 && !done; ++i) {
      if (::send(slow, request.data() + i, 1, MSG_NOSIGNAL) != 1) break;
      std::this_thread::sleep_for(std::chrono::seconds(1));
    }
  });
  // Others are served meanwhile.
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  ExpectStillServing();
  const Answer answer = test::ReadAnswer(slow);
  const auto seconds = std::chrono::duration<double>(Clock::now() - start).count();
  done = true;
  sender.join();
  EXPECT_EQ(408, answer.status);
  EXPECT_GE(seconds, 2.0);
  EXPECT_LT(seconds, 7.0);
  // The silent one is closed without an answer.
  char byte;
  EXPECT_EQ(0, ::recv(silent, &byte, 1, 0));
  ::close(slow);
  ::close(silent);
  ExpectStillServing();
}

TEST_F(ServerTest, ABurstOfConnectionsIsAnsweredOrTurnedAway) {
  constexpr int kConnections = 200;
  std::vector<int> status(kConnections, -1);
  std::vector<std::thread> clients;
  std::atomic<int> ready{0};
  for (int i = 0; i < kConnections; ++i) {
    clients.emplace_back([&, i] {
      const std::string request = Good(i + 1).Request();
      ++ready;
      while (ready < kConnections) std::this_thread::yield();
      status[i] = test::Exchange(port, request, 20000).status;
    });
  }
  for (std::thread& t : clients) t.join();
  int stored = 0;
  for (int s : status) {
    EXPECT_TRUE(s == 204 || s == 503 || s == 0) << s;
    if (s == 204) ++stored;
  }
  EXPECT_GT(stored, 0);
  EXPECT_EQ(stored, Stored()) << "every 204 is a stored batch, and nothing else is";
  ExpectStillServing();
}

}  // namespace
}  // namespace collector
}  // namespace qz
