// The collector in-process on loopback ports, fed good and hostile requests.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

#include "TestBatches.h"
#include "TestHttp.h"
#include "common/Log.h"
#include "server/Collector.h"

namespace qz {
namespace collector {
namespace {

using test::Answer;
using test::Guid;
using test::TestBatch;
using Clock = std::chrono::steady_clock;

double Seconds(Clock::time_point since) { return std::chrono::duration<double>(Clock::now() - since).count(); }

class ServerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char dir[] = "/tmp/qz-server-test-XXXXXX";
    ASSERT_NE(nullptr, mkdtemp(dir));
    folder = dir;
    Restart([](CollectorOptions&) {});
  }

  void TearDown() override {
    collector.reset();
    Log::SetSink(nullptr);
    std::system(("rm -rf " + folder).c_str());
  }

  // A collector on any free ports, with short deadlines so that the slow cases take seconds.
  void Restart(const std::function<void(CollectorOptions&)>& change) {
    collector.reset();
    CollectorOptions options;
    options.sqlitePath = folder + "/test.db";
    options.create = true;
    options.certFile = folder + "/cert.pem";
    options.keyFile = folder + "/key.pem";
    options.httpPort = 0;
    options.httpsPort = 0;
    options.reportListen = "127.0.0.1:0";
    options.limits.handshakeTimeoutMs = 2000;
    options.limits.idleTimeoutMs = 2000;
    options.limits.requestTimeoutMs = 2500;
    options.limits.readTimeoutMs = 1500;
    options.limits.workers = 2;
    options.limits.maxQueued = 32;
    change(options);
    collector = std::make_unique<Collector>(options);
    std::string error;
    ASSERT_TRUE(collector->Start(error)) << error;
    port = collector->HttpPort();
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

  int64_t Count(const std::string& sql) {
    QueryResult r;
    std::string error;
    EXPECT_TRUE(collector->GetStore().Query(sql, {}, r, error)) << error;
    return r.rows.empty() ? -1 : std::atoll(r.rows[0][0]->c_str());
  }
  int64_t Stored() { return Count("SELECT COUNT(*) FROM batches"); }

  std::string folder;
  std::unique_ptr<Collector> collector;
  int port = 0;
  int next = 1000;
  std::mutex logLock;  // lines written by the collector, for tests that read them
  std::vector<std::string> lines;
};

TEST_F(ServerTest, StoresBatchesOverHttpAndHttpsOnce) {
  const TestBatch b = Good(1);
  EXPECT_EQ(204, test::Exchange(port, b.Request()).status);
  EXPECT_EQ(204, test::Exchange(port, b.Request("/any/collector.svc/Publish")).status) << "again, elsewhere";
  EXPECT_EQ(204, test::TlsExchange(collector->HttpsPort(), Good(2).Request()).status);
  EXPECT_EQ(2, Stored());

  const Answer health = test::Exchange(port, "GET /health HTTP/1.1\r\nHost: x\r\n\r\n");
  EXPECT_EQ(200, health.status);
  EXPECT_EQ("ok\n", health.body);
}

// The report on a listener of its own: not on the ingestion ports, a token
// when one is set, answers kept for a few seconds.
TEST_F(ServerTest, TheReportHasItsOwnListenerAndToken) {
  Restart([](CollectorOptions& o) { o.report.token = "s3cret-token"; });
  EXPECT_EQ(204, test::Exchange(port, Good(1).Request()).status);
  const std::string page = "GET /?view=features&from=2026-01-01&to=2026-01-31 HTTP/1.1\r\nHost: x\r\n";
  EXPECT_EQ(404, test::Exchange(port, page + "\r\n").status) << "not on the ingestion port";
  EXPECT_EQ(404, test::TlsExchange(collector->HttpsPort(), page + "\r\n").status);
  const int reports = collector->ReportPort();
  ASSERT_GT(reports, 0);
  const Answer refused = test::TlsExchange(reports, page + "\r\n");
  EXPECT_EQ(401, refused.status);
  EXPECT_NE(std::string::npos, test::HeaderOf(refused.head, "WWW-Authenticate").find("Bearer"));
  EXPECT_EQ(401, test::TlsExchange(reports, page + "Authorization: Bearer s3cret-tokeN\r\n\r\n").status);
  const Answer shown = test::TlsExchange(reports, page + "Authorization: Bearer s3cret-token\r\n\r\n");
  EXPECT_EQ(200, shown.status);
  EXPECT_NE(std::string::npos, shown.body.find("data-name=\"Zoom\" data-users=\"0\" data-uses=\"1\""));
  EXPECT_EQ("no-store", test::HeaderOf(shown.head, "Cache-Control"));
  EXPECT_NE(std::string::npos, test::HeaderOf(shown.head, "Content-Security-Policy").find("default-src 'none'"));
  // A link with the token: a cookie, and the same address without it.
  const Answer link = test::TlsExchange(
      reports, "GET /?view=features&token=s3cret-token&from=2026-01-01 HTTP/1.1\r\nHost: x\r\n\r\n");
  EXPECT_EQ(303, link.status);
  EXPECT_EQ("/?view=features&from=2026-01-01", test::HeaderOf(link.head, "Location"));
  const std::string cookie = test::HeaderOf(link.head, "Set-Cookie");
  EXPECT_EQ(0u, cookie.find("qz_report_token=s3cret-token;")) << cookie;
  EXPECT_NE(std::string::npos, cookie.find("HttpOnly"));
  EXPECT_EQ(200, test::TlsExchange(reports, page + "Cookie: a=b; qz_report_token=s3cret-token\r\n\r\n").status);
  // The same report again within seconds is not made again.
  const int64_t rendered = collector->Reports().Rendered();
  EXPECT_EQ(200, test::TlsExchange(reports, page + "Authorization: Bearer s3cret-token\r\n\r\n").status);
  EXPECT_EQ(rendered, collector->Reports().Rendered());
  // Bad filters and other methods and paths.
  const std::string auth = "Authorization: Bearer s3cret-token\r\n\r\n";
  EXPECT_EQ(400, test::TlsExchange(reports, "GET /?company=x HTTP/1.1\r\nHost: x\r\n" + auth).status);
  EXPECT_EQ(400, test::TlsExchange(reports, "GET /report.txt?from=2026-02-30 HTTP/1.1\r\nHost: x\r\n" + auth).status);
  EXPECT_EQ(404, test::TlsExchange(reports, "GET /health HTTP/1.1\r\nHost: x\r\n" + auth).status);
  EXPECT_EQ(413, test::TlsExchange(reports, Good(2).Request("/")).status) << "no bodies here";
  EXPECT_EQ(405, test::TlsExchange(reports, "DELETE / HTTP/1.1\r\nHost: x\r\n" + auth).status);
  const Answer json = test::TlsExchange(reports, "GET /report.json?from=2026-01-01&to=2026-01-03 HTTP/1.1\r\nHost: x\r\n" + auth);
  EXPECT_EQ(200, json.status);
  EXPECT_NE(std::string::npos, json.body.find("\"features\":[{\"name\":\"Zoom\""));
}

// Reports asked for on an ingestion port are served there, by their own pool.
TEST_F(ServerTest, TheReportCanShareAnIngestionPortWhenAsked) {
  const int free = collector->HttpPort();
  collector.reset();
  Restart([free](CollectorOptions& o) {
    o.httpPort = free;
    o.reportListen = "127.0.0.1:" + std::to_string(free);
  });
  EXPECT_EQ(-1, collector->ReportPort());
  EXPECT_EQ(204, test::Exchange(port, Good(1).Request()).status);
  const Answer text = test::Exchange(port, "GET /report.txt?from=2026-01-01&to=2026-01-03 HTTP/1.1\r\nHost: x\r\n\r\n");
  EXPECT_EQ(200, text.status);
  EXPECT_NE(std::string::npos, text.body.find("Zoom"));
}

TEST_F(ServerTest, RefusesMalformedAndAmbiguousRequestsAndKeepsServing) {
  const std::string good = Good(1).Request();
  const auto replaced = [&](const std::string& from, const std::string& to) {
    std::string request = good;
    request.replace(request.find(from), from.size(), to);
    // Keep Content-Length true to the changed body.
    const size_t body = request.find("\r\n\r\n") + 4;
    const size_t at = request.rfind("Content-Length: ", body);
    if (at == std::string::npos) return request;
    request.replace(at + 16, request.find("\r\n", at) - at - 16, std::to_string(request.size() - body));
    return request;
  };
  const std::string length = "Content-Length: " + std::to_string(Good(1).Body().size());
  const struct {
    std::string request;
    int status;
    const char* reason;
  } cases[] = {
      {replaced("</messages>", ""), 400, "not well-formed"},
      {replaced("</messages>", "<surprise/>\n</messages>"), 400, "surprise"},
      {replaced(" event=\"tick\"", ""), 400, "event"},
      {replaced(Guid(1, 0xFEA7) + "\" session", "not-a-guid\" session"), 400, "not-a-guid"},
      {replaced(test::Time(1), "9999-99-99T10:00:00.001Z"), 400, "not a real time"},
      {replaced(test::Time(1), "2025-02-29T10:00:00.001Z"), 400, "not a real time"},
      {replaced(test::Time(1), "2026-01-02T23:59:60.000Z"), 400, "not a real time"},
      {replaced(std::string("X-QZ-CID: ") + test::kCompany, "X-QZ-CID: " + Guid(5)), 400, "X-QZ-CID"},
      {replaced("X-QZ-API: Win32/1.0", "X-QZ-API: Win32/1.0 offline"), 400, "stored batch"},
      {replaced("Content-Type: text/xml", "Content-Type: text/plain"), 400, "Content-Type"},
      {replaced("Pragma: no-cache", "Content-Encoding: gzip"), 415, "Content-Encoding"},
      {replaced("/Publish HTTP", "/Submit HTTP"), 404, ""},
      // One body, one length: anything else could be read two ways by two servers.
      {replaced("Pragma: no-cache", length), 400, "Content-Length"},
      {replaced("Pragma: no-cache", "Content-Length: 7"), 400, "Content-Length"},
      {replaced("Pragma: no-cache", "Transfer-Encoding: chunked"), 400, "Content-Length"},
      {replaced(length + "\r\n", ""), 411, "Content-Length required"},
      {replaced(length + "\r\n", "Transfer-Encoding: chunked\r\n"), 411, "Content-Length required"},
      {replaced("Pragma: no-cache", std::string("X-QZ-CID: ") + test::kCompany), 400, "repeated X-QZ-CID"},
      {replaced("Pragma: no-cache", "X-QZ-API: Win32/1.0"), 400, "repeated X-QZ-API"},
  };
  for (const auto& c : cases) {
    const Answer answer = test::Exchange(port, c.request);
    EXPECT_EQ(c.status, answer.status) << c.reason;
    EXPECT_NE(std::string::npos, answer.body.find(c.reason)) << answer.body;
  }
  // A body cut short: the client stops sending and half-closes.
  const int fd = test::Connect(port);
  ASSERT_GE(fd, 0);
  ASSERT_TRUE(test::SendAll(fd, good.substr(0, good.size() - 40)));
  ::shutdown(fd, SHUT_WR);
  const Answer answer = test::ReadAnswer(fd);
  ::close(fd);
  EXPECT_EQ(400, answer.status);
  EXPECT_EQ("incomplete body\n", answer.body);

  EXPECT_EQ(0, Stored());
  ExpectStillServing();
  // The report too, after all that.
  EXPECT_EQ(200, test::TlsExchange(collector->ReportPort(), "GET /report.txt HTTP/1.1\r\nHost: x\r\n\r\n").status);
}

TEST_F(ServerTest, RefusesAFiftyMegabyteBodyBeforeReadingIt) {
  const int fd = test::Connect(port);
  ASSERT_GE(fd, 0);
  std::string request = Good(1).Request();
  request.replace(request.find("Content-Length: ") + 16, request.find("\r\n\r\n") - request.find("Content-Length: ") - 16,
                  "52428800");
  ASSERT_TRUE(test::SendAll(fd, request));
  const std::string piece(1 << 20, 'x');
  // The collector may answer and stop reading before all of it is sent.
  for (int i = 0; i < 50 && test::SendAll(fd, piece); ++i) {
  }
  EXPECT_EQ(413, test::ReadAnswer(fd).status);
  ::close(fd);
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
  const double seconds = Seconds(start);
  done = true;
  sender.join();
  EXPECT_EQ(408, answer.status);
  EXPECT_GE(seconds, 1.5);
  EXPECT_LT(seconds, 7.0);
  // The silent one is closed without an answer.
  char byte;
  EXPECT_EQ(0, ::recv(silent, &byte, 1, 0));
  ::close(slow);
  ::close(silent);
  ExpectStillServing();
}

// Thousands of connections that never send a request cost the collector
// memory, not service: posters on new connections are answered at once, and
// the idle ones are closed at their deadline and counted in the log.
TEST_F(ServerTest, IdleConnectionsDoNotDelayPosters) {
  rlimit files{};
  getrlimit(RLIMIT_NOFILE, &files);
  files.rlim_cur = files.rlim_max;
  setrlimit(RLIMIT_NOFILE, &files);
  ASSERT_GE(files.rlim_cur, 4500u) << "the test and the collector hold 2000 connections each";
  Log::SetSink([this](const char*, const char*, const std::string& message) {
    std::lock_guard<std::mutex> hold(logLock);
    lines.push_back(message);
  });
  Restart([](CollectorOptions& o) {
    // Long enough for the posts under a sanitizer on a busy machine.
    o.limits.handshakeTimeoutMs = 10000;
    o.limits.idleTimeoutMs = 10000;
    o.limits.requestTimeoutMs = 10000;
  });
  const int https = collector->HttpsPort();
  constexpr int kPlain = 950, kNoHello = 950, kHandshaken = 100;
  std::vector<int> idle;
  std::vector<std::unique_ptr<test::TlsClient>> secure;
  for (int i = 0; i < kPlain + kNoHello; ++i) {
    idle.push_back(test::Connect(i < kPlain ? port : https));
    ASSERT_GE(idle.back(), 0) << i;
  }
  for (int i = 0; i < kHandshaken; ++i) {
    secure.push_back(std::make_unique<test::TlsClient>());
    ASSERT_TRUE(secure.back()->Connect(https)) << i;
  }
  for (int i = 0; i < 50; ++i) {
    const auto start = Clock::now();
    const std::string request = test::LibraryBatch(i).Request();
    const Answer answer = i % 2 == 0 ? test::Exchange(port, request) : test::TlsExchange(https, request);
    EXPECT_EQ(204, answer.status) << i;
    EXPECT_LT(Seconds(start), 1.0) << "post " << i;
  }
  EXPECT_EQ(50, Stored());
  // Every idle connection was open throughout.
  char buffer[4096];
  for (int fd : idle) {
    EXPECT_EQ(-1, ::recv(fd, buffer, sizeof buffer, MSG_DONTWAIT | MSG_PEEK));
    EXPECT_EQ(EAGAIN, errno);
  }

  // Each is closed by the collector at its deadline (after what TLS sends
  // unasked, the session tickets).
  const auto closed = [&buffer](int fd) {
    ssize_t n;
    while ((n = ::recv(fd, buffer, sizeof buffer, 0)) > 0) {
    }
    return n == 0;
  };
  for (int fd : idle) EXPECT_TRUE(closed(fd));
  for (auto& s : secure) EXPECT_TRUE(closed(s->Fd()));
  for (int fd : idle) ::close(fd);
  secure.clear();
  const auto& refusals = collector->Refusals();
  EXPECT_EQ(static_cast<uint64_t>(kNoHello), refusals.Total(ConnectionLog::HandshakeTimeout));
  EXPECT_EQ(static_cast<uint64_t>(kPlain + kHandshaken), refusals.Total(ConnectionLog::IdleTimeout));
  // The log says so, a line or two per second, with an address.
  const auto until = Clock::now() + std::chrono::seconds(3);
  bool logged = false;
  while (!logged && Clock::now() < until) {
    {
      std::lock_guard<std::mutex> hold(logLock);
      for (const std::string& line : lines) {
        logged = logged || (line.find("TLS handshake not finished in time; latest from 127.0.0.1:") != std::string::npos &&
                            line.find("(950 since the start)") != std::string::npos);
      }
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  EXPECT_TRUE(logged);
  std::lock_guard<std::mutex> hold(logLock);
  EXPECT_LT(lines.size(), 40u) << "rate-limited";
}

TEST_F(ServerTest, LargeBatchesWaitOutsideTheMemoryBudget) {
  // Each batch under way holds twice its size; two of 1 MB do not fit in 4 MB.
  Restart([](CollectorOptions& o) {
    o.limits.maxBody = 1 << 20;
    o.limits.maxMemory = 4 << 20;
  });
  std::string head = Good(1).Request();
  head = head.substr(0, head.find("Content-Length: ")) + "Content-Length: 1048576\r\n\r\n";
  const int first = test::Connect(port);
  ASSERT_TRUE(test::SendAll(first, head + "<messages"));
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  const Answer second = test::Exchange(port, head);
  EXPECT_EQ(503, second.status);
  EXPECT_EQ("5", test::HeaderOf(second.head, "Retry-After"));
  ::close(first);
  // Once the first is gone, its share is back.
  const auto until = Clock::now() + std::chrono::seconds(5);
  int status = 0;
  while ((status = test::Exchange(port, Good(2).Request()).status) != 204 && Clock::now() < until) {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  EXPECT_EQ(204, status);
}

TEST_F(ServerTest, OnlyAllowedCompaniesAndRetentionOfOldData) {
  Restart([](CollectorOptions& o) {
    o.allowedCompanies = {"9531985d-5d9d-49f8-9818-e811892f902b"};  // test::kCompany, in lower case
    o.retainDays = 1;
    o.retentionInterval = std::chrono::milliseconds(100);
  });
  std::string other = Good(1).Request();
  other.replace(other.find(std::string("X-QZ-CID: ") + test::kCompany), 10 + 36, "X-QZ-CID: " + Guid(9));
  const Answer refused = test::Exchange(port, other);
  EXPECT_EQ(403, refused.status);
  // A batch of three days ago goes; one of now stays.
  const auto now = std::chrono::duration_cast<std::chrono::milliseconds>(
                       std::chrono::system_clock::now().time_since_epoch()).count();
  const long long base = 1767348000000LL;  // test::Time(0)
  for (const long long ms : {now - base - 3 * 86400000LL, now - base}) {
    TestBatch b(static_cast<int>(++next));
    b.messages = {test::Feature(Guid(next, 1), b.group, ms, Guid(next, 1), "Old", "tick"),
                  test::Fault(Guid(next, 2), b.group, ms, "IOError", "caught")};
    EXPECT_EQ(204, test::Exchange(port, b.Request()).status);
  }
  const auto until = Clock::now() + std::chrono::seconds(10);
  while (Count("SELECT COUNT(*) FROM messages") != 2 && Clock::now() < until) {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  EXPECT_EQ(2, Count("SELECT COUNT(*) FROM messages"));
  EXPECT_EQ(1, Count("SELECT COUNT(*) FROM faults"));
  EXPECT_EQ(1, Count("SELECT COUNT(*) FROM exceptions"));
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
