#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <thread>

#include "messages/Feature.h"
#include "messages/FeatureCorrelator.h"
#include "support/LogCapture.h"
#include "support/TestText.h"

namespace qz {
namespace {

using test::U8;
using FeaturePtr = std::unique_ptr<Feature>;

const QZChar* const kSession = QZ_TEXT("D23F0824-128B-4F33-8C5C-7FD0A6A3A450");

FeaturePtr Start(FeatureCorrelator& c, const QZChar* name) {
  return FeaturePtr(Feature::CreateStart(&c, kSession, name, nullptr, nullptr));
}
FeaturePtr Stop(FeatureCorrelator& c, const QZChar* name) {
  return FeaturePtr(Feature::CreateStop(&c, kSession, name, nullptr, nullptr));
}
std::string Group(const FeaturePtr& f) { return U8(f->GetGroup()); }
std::string Id(const FeaturePtr& f) { return U8(f->GetID()); }

TEST(FeatureTest, StopCarriesItsStartsIdAsGroup) {
  FeatureCorrelator correlator;
  auto start = Start(correlator, QZ_TEXT("Ex\"port"));
  auto stop = Stop(correlator, QZ_TEXT("Ex\"port"));
  EXPECT_EQ(Id(start), Group(start));
  StringBuf out;
  EXPECT_EQ("<feature generated=\"" + U8(stop->GetGenerated()) + "\" id=\"" +
                Id(stop) + "\" session=\"" + U8(kSession) + "\" group=\"" + Id(start) +
                "\" name=\"Ex&quot;port\" event=\"stop\"/>\n",
            U8(stop->Write(out).ToString()));
}

TEST(FeatureTest, SameThreadPairsLastInFirstOut) {
  FeatureCorrelator correlator;
  auto first = Start(correlator, QZ_TEXT("A"));
  auto second = Start(correlator, QZ_TEXT("A"));
  // A tick of an open feature neither pairs nor disturbs the open starts.
  FeaturePtr tick(Feature::CreateTick(kSession, QZ_TEXT("A"), nullptr, nullptr));
  EXPECT_EQ(Id(tick), Group(tick));
  EXPECT_EQ(Id(second), Group(Stop(correlator, QZ_TEXT("A"))));
  EXPECT_EQ(Id(first), Group(Stop(correlator, QZ_TEXT("A"))));
  EXPECT_EQ(0u, correlator.GetOpenCount());
}

TEST(FeatureTest, StopPrefersItsOwnThreadThenAnyThread) {
  FeatureCorrelator correlator;
  FeaturePtr mine = Start(correlator, QZ_TEXT("A")), theirs, stop;
  std::promise<void> started, release;
  // Kept alive to the end, so that no later thread takes over its identity.
  std::thread other([&] {
    theirs = Start(correlator, QZ_TEXT("A"));
    started.set_value();
    release.get_future().wait_for(std::chrono::seconds(30));
  });
  if (started.get_future().wait_for(std::chrono::seconds(30)) == std::future_status::ready) {
    // The other thread's start is newer, but this thread's stop belongs to this thread's start.
    EXPECT_EQ(Id(mine), Group(Stop(correlator, QZ_TEXT("A"))));
    // A thread that started nothing takes the newest start of any thread.
    std::thread([&] { stop = Stop(correlator, QZ_TEXT("A")); }).join();
    EXPECT_EQ(Id(theirs), Group(stop));
    EXPECT_EQ(0u, correlator.GetOpenCount());
  } else {
    ADD_FAILURE() << "the other thread did not start its feature";
  }
  release.set_value();
  other.join();
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
}

}  // namespace
}  // namespace qz
