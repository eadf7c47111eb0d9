#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "messages/Feature.h"
#include "messages/FeatureCorrelator.h"
#include "support/LogCapture.h"
#include "support/TestText.h"

namespace qz {
namespace {

using test::U8;

const QZChar* const kSession = QZ_TEXT("D23F0824-128B-4F33-8C5C-7FD0A6A3A450");

// A host thread that stays alive for the whole test, so that its identity is
// never reused by a later thread.
class HostThread {
 public:
  HostThread() : thread_([this] { Loop(); }) {}
  ~HostThread() {
    Run([this] { quit_ = true; });
    thread_.join();
  }
  // Runs task on this thread; false if it did not finish in time.
  bool Run(std::function<void()> task) {
    std::unique_lock<std::mutex> lock(mutex_);
    task_ = std::move(task);
    changed_.notify_all();
    return changed_.wait_for(lock, std::chrono::seconds(30), [this] { return !task_; });
  }

 private:
  void Loop() {
    std::unique_lock<std::mutex> lock(mutex_);
    while (!quit_) {
      changed_.wait(lock, [this] { return bool(task_); });
      task_();
      task_ = nullptr;
      changed_.notify_all();
    }
  }
  std::mutex mutex_;
  std::condition_variable changed_;
  std::function<void()> task_;
  bool quit_ = false;
  std::thread thread_;
};

std::unique_ptr<Feature> Start(FeatureCorrelator& c, const QZChar* name) {
  return std::unique_ptr<Feature>(Feature::CreateStart(&c, kSession, name, nullptr, nullptr));
}
std::unique_ptr<Feature> Stop(FeatureCorrelator& c, const QZChar* name) {
  return std::unique_ptr<Feature>(Feature::CreateStop(&c, kSession, name, nullptr, nullptr));
}
std::string Group(const std::unique_ptr<Feature>& f) { return U8(f->GetGroup()); }
std::string Id(const std::unique_ptr<Feature>& f) { return U8(f->GetID().ToString()); }

TEST(FeatureTest, StopCarriesItsStartsIdAsGroup) {
  FeatureCorrelator correlator;
  auto start = Start(correlator, QZ_TEXT("Ex\"port"));
  auto stop = Stop(correlator, QZ_TEXT("Ex\"port"));
  EXPECT_EQ(Id(start), Group(start));
  StringBuf out;
  EXPECT_EQ("<feature generated=\"" + U8(stop->GetGenerated().ToString()) + "\" id=\"" +
                Id(stop) + "\" session=\"" + U8(kSession) + "\" group=\"" + Id(start) +
                "\" name=\"Ex&quot;port\" event=\"stop\"/>\n",
            U8(stop->Write(out).ToString()));
}

TEST(FeatureTest, SameThreadPairsLastInFirstOut) {
  FeatureCorrelator correlator;
  auto first = Start(correlator, QZ_TEXT("A"));
  auto second = Start(correlator, QZ_TEXT("A"));
  // A tick of an open feature neither pairs nor disturbs the open starts.
  std::unique_ptr<Feature> tick(Feature::CreateTick(kSession, QZ_TEXT("A"), nullptr, nullptr));
  EXPECT_EQ(Id(tick), Group(tick));
  auto stop1 = Stop(correlator, QZ_TEXT("A"));
  auto stop2 = Stop(correlator, QZ_TEXT("A"));
  EXPECT_EQ(Id(second), Group(stop1));
  EXPECT_EQ(Id(first), Group(stop2));
  EXPECT_EQ(0u, correlator.GetOpenCount());
}

TEST(FeatureTest, StopPrefersItsOwnThreadThenAnyThread) {
  FeatureCorrelator correlator;
  HostThread t1, t2, t3;
  std::unique_ptr<Feature> start1, start2, stop1, stop3;
  ASSERT_TRUE(t1.Run([&] { start1 = Start(correlator, QZ_TEXT("A")); }));
  ASSERT_TRUE(t2.Run([&] { start2 = Start(correlator, QZ_TEXT("A")); }));
  // Thread 2's start is newer, but thread 1's stop belongs to thread 1's start.
  ASSERT_TRUE(t1.Run([&] { stop1 = Stop(correlator, QZ_TEXT("A")); }));
  EXPECT_EQ(Id(start1), Group(stop1));
  // Thread 3 started nothing: it takes the newest start of any thread.
  ASSERT_TRUE(t3.Run([&] { stop3 = Stop(correlator, QZ_TEXT("A")); }));
  EXPECT_EQ(Id(start2), Group(stop3));
  EXPECT_EQ(0u, correlator.GetOpenCount());
}

TEST(FeatureTest, UnpairedStopKeepsOwnGroupAndWarns) {
  test::LogCapture log;
  FeatureCorrelator correlator;
  auto start = Start(correlator, QZ_TEXT("Export"));
  auto other = Stop(correlator, QZ_TEXT("export"));  // names are case-sensitive
  EXPECT_EQ(Id(other), Group(other));
  EXPECT_EQ(1, log.Count("FeatureStop", "Unable to determine feature group for export"))
      << log.Dump();
  EXPECT_EQ(1u, correlator.GetOpenCount());

  StringBuf untouched(QZ_TEXT("keep"));
  EXPECT_FALSE(correlator.TakeGroup(QZ_TEXT("B"), untouched));
  EXPECT_EQ("keep", U8(untouched.ToString()));
}

}  // namespace
}  // namespace qz
