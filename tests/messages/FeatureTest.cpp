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
#include "qz/BinaryInfo.h"
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
    {
      std::lock_guard<std::mutex> lock(mutex_);
      quit_ = true;
    }
    wake_.notify_all();
    thread_.join();
  }

  // Runs task on this thread and waits (bounded) for it to finish.
  bool Run(std::function<void()> task) {
    std::unique_lock<std::mutex> lock(mutex_);
    task_ = std::move(task);
    wake_.notify_all();
    return done_.wait_for(lock, std::chrono::seconds(30), [this] { return !task_; });
  }

 private:
  void Loop() {
    std::unique_lock<std::mutex> lock(mutex_);
    for (;;) {
      wake_.wait(lock, [this] { return quit_ || task_; });
      if (quit_) return;
      task_();
      task_ = nullptr;
      done_.notify_all();
    }
  }

  std::mutex mutex_;
  std::condition_variable wake_;
  std::condition_variable done_;
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

TEST(FeatureTest, WrittenAttributesOfStartStopAndTick) {
  FeatureCorrelator correlator;
  BinaryInfo info;
  info.SetMethodName(QZ_TEXT("Save"));
  std::unique_ptr<Feature> start(
      Feature::CreateStart(&correlator, kSession, QZ_TEXT("Ex\"port"), &info, nullptr));
  std::unique_ptr<Feature> stop(Stop(correlator, QZ_TEXT("Ex\"port")));
  std::unique_ptr<Feature> tick(
      Feature::CreateTick(kSession, QZ_TEXT("Ex\"port"), nullptr, nullptr));

  auto head = [](const std::unique_ptr<Feature>& f, const std::string& group,
                 const char* event) {
    return "<feature generated=\"" + U8(f->GetGenerated().ToString()) + "\" id=\"" + Id(f) +
           "\" session=\"" + U8(kSession) + "\" group=\"" + group +
           "\" name=\"Ex&quot;port\" event=\"" + event + "\"";
  };
  StringBuf out;
  EXPECT_EQ(head(start, Id(start), "start") + ">\n<binary method=\"Save\"/>\n</feature>\n",
            U8(start->Write(out).ToString()));
  out.Clear();
  EXPECT_EQ(head(stop, Id(start), "stop") + "/>\n", U8(stop->Write(out).ToString()));
  out.Clear();
  EXPECT_EQ(head(tick, Id(tick), "tick") + "/>\n", U8(tick->Write(out).ToString()));
  EXPECT_EQ(0u, correlator.GetOpenCount());
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

TEST(FeatureTest, OpenStartsDieWithTheirCorrelator) {
  test::LogCapture log;
  std::unique_ptr<FeatureCorrelator> run(new FeatureCorrelator());
  auto start = Start(*run, QZ_TEXT("A"));
  auto startB = Start(*run, QZ_TEXT("B"));
  run.reset(new FeatureCorrelator());
  auto stop = Stop(*run, QZ_TEXT("A"));
  EXPECT_EQ(Id(stop), Group(stop));
  EXPECT_TRUE(log.Contains("FeatureStop", "Unable to determine feature group for A"));
}

}  // namespace
}  // namespace qz
