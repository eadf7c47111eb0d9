// The report's pool under pressure: a store whose queries wait at a gate
// holds a rendering under way while other requests arrive.
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

#include "server/ReportService.h"

namespace qz {
namespace collector {
namespace {

using std::chrono::seconds;

class GatedStore : public Store {
 public:
  WriteStatus Write(const std::vector<const Rows*>&, std::string&) override { return WriteStatus::Stored; }
  bool Modify(const std::vector<std::string>&, const std::string&, int64_t&, std::string&) override { return true; }
  const char* Kind() const override { return "sqlite"; }
  bool Query(const std::string&, const std::vector<std::string>&, QueryResult& result, std::string&) override {
    std::unique_lock<std::mutex> hold(lock);
    ++entered;
    changed.notify_all();
    changed.wait(hold, [&] { return open; });
    result = QueryResult();
    return true;
  }
  void Open(bool on) {
    std::lock_guard<std::mutex> hold(lock);
    open = on;
    changed.notify_all();
  }
  // Waits until a query has begun since the count was n.
  bool EnteredAfter(int n) {
    std::unique_lock<std::mutex> hold(lock);
    return changed.wait_for(hold, seconds(20), [&] { return entered > n; });
  }
  int Entered() {
    std::lock_guard<std::mutex> hold(lock);
    return entered;
  }

 private:
  std::mutex lock;
  std::condition_variable changed;
  bool open = false;
  int entered = 0;
};

// Answers as they come, by request.
class Answers {
 public:
  HttpHandler::Respond For(int id) {
    return [this, id](HttpAnswer a) {
      std::lock_guard<std::mutex> hold(lock);
      got.emplace_back(id, std::move(a));
      changed.notify_all();
    };
  }
  bool WaitFor(size_t n) {
    std::unique_lock<std::mutex> hold(lock);
    return changed.wait_for(hold, seconds(20), [&] { return got.size() >= n; });
  }
  size_t Count() {
    std::lock_guard<std::mutex> hold(lock);
    return got.size();
  }
  HttpAnswer Of(int id) {
    std::lock_guard<std::mutex> hold(lock);
    for (const auto& g : got) {
      if (g.first == id) return g.second;
    }
    return HttpAnswer{0, "", "", 0, {}};
  }

 private:
  std::mutex lock;
  std::condition_variable changed;
  std::vector<std::pair<int, HttpAnswer>> got;
};

HttpRequest Get(const std::string& target, const char* method = "GET") {
  HttpRequest r;
  r.method = method;
  r.target = target;
  return r;
}

ReportOptions OneWorker() {
  ReportOptions o;
  o.workers = 1;
  return o;
}

// Many reloads of the same page while it is being made cost one rendering,
// and a page in the cache is answered while another one is being made.
TEST(ReportServiceTest, IdenticalRequestsShareOneRenderingAndCachedPagesDoNotQueue) {
  GatedStore store;
  ReportService service(store, OneWorker());
  Answers answers;
  for (int i = 0; i < 8; ++i) service.Handle(Get("/?view=features", i == 7 ? "HEAD" : "GET"), answers.For(i));
  ASSERT_TRUE(store.EnteredAfter(0));
  EXPECT_EQ(0u, answers.Count());
  store.Open(true);
  ASSERT_TRUE(answers.WaitFor(8));
  EXPECT_EQ(1, service.Rendered());
  for (int i = 0; i < 8; ++i) EXPECT_EQ(200, answers.Of(i).status) << i;
  EXPECT_FALSE(answers.Of(0).body.empty());
  EXPECT_TRUE(answers.Of(7).body.empty()) << "HEAD";

  store.Open(false);
  const int before = store.Entered();
  service.Handle(Get("/report.txt"), answers.For(8));
  ASSERT_TRUE(store.EnteredAfter(before));
  service.Handle(Get("/?view=features"), answers.For(9));
  ASSERT_TRUE(answers.WaitFor(9));
  EXPECT_EQ(200, answers.Of(9).status) << "from the cache, not behind the rendering under way";
  EXPECT_EQ(0, answers.Of(8).status);
  store.Open(true);
  ASSERT_TRUE(answers.WaitFor(10));
  EXPECT_EQ(2, service.Rendered());
}

// A stop does not wait for queued reports: they are answered 503 unmade.
TEST(ReportServiceTest, AStopAnswersQueuedReportsWithoutRenderingThem) {
  GatedStore store;
  ReportService service(store, OneWorker());
  Answers answers;
  service.Handle(Get("/?view=overview"), answers.For(0));
  ASSERT_TRUE(store.EnteredAfter(0));
  const char* queued[] = {"/?view=features", "/report.txt", "/report.json?view=machines", "/?view=features"};
  for (int i = 0; i < 4; ++i) service.Handle(Get(queued[i]), answers.For(i + 1));
  service.Close();
  service.Handle(Get("/?view=stability"), answers.For(5));
  store.Open(true);
  service.Stop();
  ASSERT_TRUE(answers.WaitFor(6));
  EXPECT_EQ(200, answers.Of(0).status) << "the rendering under way finishes";
  for (int i = 1; i <= 5; ++i) {
    EXPECT_EQ(503, answers.Of(i).status) << i;
    EXPECT_EQ("no-store", [&] {
      for (const auto& h : answers.Of(i).headers) {
        if (h.first == "Cache-Control") return h.second;
      }
      return std::string();
    }()) << i;
  }
  EXPECT_EQ(1, service.Rendered());
}

}  // namespace
}  // namespace collector
}  // namespace qz
