#include <gtest/gtest.h>

#include <chrono>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "delivery/Mutex.h"
#include "platform/LibraryLoad.h"
#include "platform/Platform.h"
#include "support/LogCapture.h"
#include "support/TestText.h"

namespace qz {
namespace {

using test::U8;

// Answers every call with a recognisable value and counts log calls.
class FakePlatform : public Platform {
 public:
  int logs = 0;

 protected:
  Mutex* DoNewMutex() override { return nullptr; }
  ThreadID* DoNewThreadID() override { return nullptr; }
  IThread* DoNewThread(IRunnable*) override { return nullptr; }
  XMLTransmitter* DoNewXMLTransmitter(Configuration*) override { return nullptr; }
  OfflineData* DoNewOfflineData() override { return nullptr; }
  void DoApplyDefaultEndpoint(Configuration*) override {}
  void DoGetPlatformInfo(PlatformInfo& info) override { info.name = QZ_TEXT("Fake"); }
  uint64_t DoGetTimeMillis() override { return 42; }
  void DoFormatTime(uint64_t, StringBuf& out) override { out = QZ_TEXT("fake"); }
  void DoGetTimeString(StringBuf& out) override { out = QZ_TEXT("fake"); }
  void DoNewGUID(StringBuf& out) override { out = QZ_TEXT("fake"); }
  void DoLogInfo(const QZChar*, const QZChar*) override { ++logs; }
  void DoLogWarn(const QZChar*, const QZChar*) override { ++logs; }
  void DoLogError(const QZChar*, const QZChar*) override { ++logs; }
};

std::string PlatformName() {
  PlatformInfo info;
  Platform::GetPlatformInfo(info);
  return U8(info.name.ToString());
}

// Which of information, warning and error pass at the current level.
std::string Passing() {
  test::LogCapture log(false);
  Platform::LogInfo(QZ_TEXT("PlatformTest"), QZ_TEXT("I"));
  Platform::LogWarn(QZ_TEXT("PlatformTest"), QZ_TEXT("W"));
  Platform::LogError(QZ_TEXT("PlatformTest"), QZ_TEXT("E"));
  std::string out;
  for (const test::LogEntry& e : log.Entries()) out += e.message;
  return out;
}

bool IsGuid(const std::string& text) {
  if (text.size() != 36) return false;
  for (size_t i = 0; i < text.size(); ++i) {
    bool dash = i == 8 || i == 13 || i == 18 || i == 23;
    char c = text[i];
    if (dash ? c != '-' : !((c >= '0' && c <= '9') || (c >= 'A' && c <= 'F'))) return false;
  }
  return true;
}

TEST(Platform, LogLevelIsClampedAndFiltersByThreshold) {
  int32_t before = Platform::GetLogLevel();
  EXPECT_EQ(before, Platform::LOG_ERROR);
  EXPECT_EQ(Passing(), "E");
  Platform::SetLogLevel(0);
  EXPECT_EQ(Platform::GetLogLevel(), 100);
  EXPECT_EQ(Passing(), "IWE");
  Platform::SetLogLevel(1000);
  EXPECT_EQ(Platform::GetLogLevel(), 300);
  EXPECT_EQ(Passing(), "E");
  Platform::SetLogLevel(200);
  EXPECT_EQ(Passing(), "WE");
  Platform::SetLogLevel(101);
  EXPECT_EQ(Passing(), "WE");
  Platform::SetLogLevel(150);
  EXPECT_EQ(Platform::GetLogLevel(), 150);
  EXPECT_EQ(Passing(), "WE");
  Platform::SetLogLevel(before);
}

TEST(Platform, SecondPlatformDoesNotTakeOver) {
  Platform* first = Platform::Instance();
  ASSERT_NE(first, nullptr);
  std::string name = PlatformName();
  {
    FakePlatform second;
    EXPECT_EQ(Platform::Instance(), first);
    EXPECT_EQ(PlatformName(), name);
    Platform::LogError(QZ_TEXT("PlatformTest"), QZ_TEXT("to the first"));
    EXPECT_EQ(second.logs, 0);
  }
  EXPECT_EQ(Platform::Instance(), first);
}

TEST(Platform, TimeTextsAreUtc) {
  StringBuf text;
  Platform::FormatTime(0, text);
  EXPECT_EQ(U8(text.ToString()), "1970-01-01T00:00:00.000Z");
  Platform::FormatTime(1000, text);
  EXPECT_EQ(U8(text.ToString()), "1970-01-01T00:00:01.000Z");
  Platform::FormatTime(1330837567089ULL, text);
  EXPECT_EQ(U8(text.ToString()), "2012-03-04T05:06:07.089Z");

  int64_t system = std::chrono::duration_cast<std::chrono::milliseconds>(
                       std::chrono::system_clock::now().time_since_epoch())
                       .count();
  EXPECT_LT(std::llabs(static_cast<int64_t>(Platform::GetTimeMillis()) - system), 60000);
}

TEST(Platform, GuidsAreWellFormedAndUniqueAcrossThreads) {
  constexpr int kThreads = 4;
  constexpr int kPerThread = 5000;
  std::vector<std::vector<std::string>> made(kThreads);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&made, t] {
      StringBuf guid;
      for (int i = 0; i < kPerThread; ++i) {
        Platform::NewGUID(guid);
        made[t].push_back(U8(guid.ToString()));
      }
    });
  }
  for (std::thread& t : threads) t.join();
  std::set<std::string> all;
  for (const std::vector<std::string>& list : made) {
    for (const std::string& guid : list) {
      ASSERT_TRUE(IsGuid(guid)) << guid;
      all.insert(guid);
    }
  }
  EXPECT_EQ(all.size(), static_cast<size_t>(kThreads * kPerThread));
}

// Runs last in this program: it takes the platform down and brings it back.
TEST(Platform, WithoutSingletonEverythingIsInert) {
  DestroyPlatform();
  ASSERT_EQ(Platform::Instance(), nullptr);
  {
    test::LogCapture log;
    EXPECT_EQ(Platform::GetTimeMillis(), 0u);
    EXPECT_EQ(Platform::NewMutex(), nullptr);
    EXPECT_EQ(Platform::GetLogLevel(), 0);
    Platform::LogError(QZ_TEXT("PlatformTest"), QZ_TEXT("nobody"));
    EXPECT_TRUE(log.Entries().empty());
    StringBuf guid(QZ_TEXT("kept"));
    Platform::NewGUID(guid);
    EXPECT_EQ(U8(guid.ToString()), "kept");
  }
  {
    // The first platform made when there is none becomes the singleton.
    FakePlatform fake;
    EXPECT_EQ(Platform::Instance(), &fake);
    EXPECT_EQ(Platform::GetTimeMillis(), 42u);
    Platform::LogError(QZ_TEXT("PlatformTest"), QZ_TEXT("to the fake"));
    EXPECT_EQ(fake.logs, 1);
  }
  EXPECT_EQ(Platform::Instance(), nullptr);
  CreatePlatform();
  ASSERT_NE(Platform::Instance(), nullptr);
  EXPECT_NE(PlatformName(), "Fake");
}

}  // namespace
}  // namespace qz
