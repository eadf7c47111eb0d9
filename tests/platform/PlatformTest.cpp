#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <regex>
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

// Answers with recognisable values and counts log calls.
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
  void DoFormatTime(uint64_t, StringBuf&) override {}
  void DoGetTimeString(StringBuf&) override {}
  void DoNewGUID(StringBuf&) override {}
  void DoGetOsInfo(OsInfo&, bool) override {}
  void DoGetVideoInfo(VideoInfo&, bool) override {}
  void DoGetUserInfo(UserInfo&, bool, bool) override {}
  void DoGetTimeZoneInfo(TimeZoneInfo&, bool) override {}
  void DoGetPowerState(StringBuf&, bool) override {}
  void DoGetSystemModel(SystemModelInfo&, bool) override {}
  void DoGetScreenInfo(ScreenInfo&, bool) override {}
  void DoGetNetworkAdapters(FactList<NetworkAdapterInfo>&, bool, bool) override {}
  void DoGetMemoryUse(MemoryUseInfo&) override {}
  void DoGetMemoryInfo(MemoryInfo&, bool) override {}
  void DoGetHostInfo(HostInfo&, bool) override {}
  void DoGetDomainInfo(DomainInfo&, bool, bool) override {}
  void DoGetDisks(FactList<DiskInfo>&, bool) override {}
  uint32_t DoGetCpuLoad() override { return 7; }
  void DoGetProcessors(FactList<CpuInfo>&, bool) override {}
  void DoGetTerminalServicesInfo(TerminalServicesInfo&, bool) override {}
  void DoGetSoundDevice(DeviceInfo&, bool) override {}
  void DoGetModem(DeviceInfo&, bool) override {}
  void DoGetPageFiles(FactList<PageFileInfo>&, bool) override {}
  void DoLogInfo(const QZChar*, const QZChar*) override { ++logs; }
  void DoLogWarn(const QZChar*, const QZChar*) override { ++logs; }
  void DoLogError(const QZChar*, const QZChar*) override { ++logs; }
};

std::string PlatformName() {
  PlatformInfo info;
  Platform::GetPlatformInfo(info);
  return U8(info.name.ToString());
}

TEST(Platform, LogLevelIsClampedAndFiltersByThreshold) {
  const int32_t before = Platform::GetLogLevel();
  EXPECT_EQ(Platform::LOG_ERROR, before);
  const int32_t set[] = {0, 1000, 200, 101, 150}, kept[] = {100, 300, 200, 101, 150};
  const char* passing[] = {"IWE", "E", "WE", "WE", "WE"};
  for (int i = 0; i < 5; ++i) {
    Platform::SetLogLevel(set[i]);
    EXPECT_EQ(kept[i], Platform::GetLogLevel());
    test::LogCapture log(false);
    Platform::LogInfo(QZ_TEXT("PlatformTest"), QZ_TEXT("I"));
    Platform::LogWarn(QZ_TEXT("PlatformTest"), QZ_TEXT("W"));
    Platform::LogError(QZ_TEXT("PlatformTest"), QZ_TEXT("E"));
    std::string seen;
    for (const test::LogEntry& e : log.Entries()) seen += e.message;
    EXPECT_EQ(passing[i], seen) << "level " << set[i];
  }
  Platform::SetLogLevel(before);
}

TEST(Platform, TimeTextsAreUtc) {
  const uint64_t millis[] = {0, 1000, 1330837567089ULL};
  const char* texts[] = {"1970-01-01T00:00:00.000Z", "1970-01-01T00:00:01.000Z",
                         "2012-03-04T05:06:07.089Z"};
  for (int i = 0; i < 3; ++i) {
    StringBuf text;
    Platform::FormatTime(millis[i], text);
    EXPECT_EQ(texts[i], U8(text.ToString()));
  }
  int64_t system = std::chrono::duration_cast<std::chrono::milliseconds>(
                       std::chrono::system_clock::now().time_since_epoch()).count();
  EXPECT_LT(std::llabs(static_cast<int64_t>(Platform::GetTimeMillis()) - system), 60000);
}

// The calendar arithmetic against known dates: leap days, a century without
// one, the first five-digit year and the last millisecond there is.
TEST(Platform, TimeTextsFollowTheCalendar) {
  const struct {
    uint64_t millis;
    const char* text;
  } cases[] = {{68169599999ULL, "1972-02-28T23:59:59.999Z"},
               {68169600000ULL, "1972-02-29T00:00:00.000Z"},
               {951868799999ULL, "2000-02-29T23:59:59.999Z"},
               {4107542400000ULL, "2100-03-01T00:00:00.000Z"},
               {253402300799999ULL, "9999-12-31T23:59:59.999Z"},
               {253402300800000ULL, "10000-01-01T00:00:00.000Z"},
               {UINT64_MAX, "584556019-04-03T14:25:51.615Z"}};
  for (const auto& c : cases) {
    StringBuf text(QZ_TEXT("at "));
    AppendTimeText(text, c.millis);
    EXPECT_EQ(std::string("at ") + c.text, U8(text.ToString()));
  }
}

// The current time goes after what the text holds. A thread keeps the text of
// its last second and writes only the milliseconds anew: across a change of
// second, every text is still the one of a moment during its call.
TEST(Platform, CurrentTimeTextsAreRightAcrossSeconds) {
  const uint64_t first = Platform::GetTimeMillis();
  int seconds = 0;
  for (uint64_t last = first; seconds < 1 && Platform::GetTimeMillis() < first + 3000;) {
    const uint64_t before = Platform::GetTimeMillis();
    StringBuf now(QZ_TEXT("now "));
    Platform::AppendTimeString(now);
    const uint64_t after = Platform::GetTimeMillis();
    bool matched = false;
    for (uint64_t t = before; t <= after && !matched; ++t) {
      StringBuf expected(QZ_TEXT("now "));
      AppendTimeText(expected, t);
      matched = U8(expected.ToString()) == U8(now.ToString());
    }
    ASSERT_TRUE(matched) << U8(now.ToString()) << " is not between " << before << " and " << after;
    if (after / 1000 != last / 1000) ++seconds;
    last = after;
  }
  EXPECT_EQ(1, seconds);
}

// The same on every platform: nothing after the last time the text holds,
// including values so large that the Windows sum would wrap around.
TEST(Platform, TimesAfterYear9999GiveAnEmptyText) {
  StringBuf text;
  Platform::FormatTime(kLastTimeTextMillis, text);
  EXPECT_EQ("9999-12-31T23:59:59.999Z", U8(text.ToString()));
  const uint64_t later[] = {kLastTimeTextMillis + 1, 0x7FFFFFFFFFFFFFFFULL / 10000,
                            UINT64_MAX - 11644473600000ULL + 1, UINT64_MAX};
  for (uint64_t millis : later) {
    StringBuf cleared(QZ_TEXT("old"));
    Platform::FormatTime(millis, cleared);
    EXPECT_EQ("", U8(cleared.ToString())) << millis;
  }
}

TEST(Platform, GuidsAreWellFormedAndUniqueAcrossThreads) {
  const std::regex form("[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}");
  std::vector<std::vector<std::string>> made(4);
  std::vector<std::thread> threads;
  for (auto& list : made) {
    threads.emplace_back([&list] {
      StringBuf guid;
      for (int i = 0; i < 5000; ++i) {
        Platform::NewGUID(guid);
        list.push_back(U8(guid.ToString()));
      }
    });
  }
  for (std::thread& t : threads) t.join();
  std::set<std::string> all;
  for (const auto& list : made) all.insert(list.begin(), list.end());
  EXPECT_EQ(20000u, all.size());
  for (const std::string& guid : all) ASSERT_TRUE(std::regex_match(guid, form)) << guid;
}

TEST(Platform, SecondPlatformDoesNotTakeOver) {
  Platform* first = Platform::Instance();
  ASSERT_NE(nullptr, first);
  {
    FakePlatform second;
    EXPECT_EQ(first, Platform::Instance());
    EXPECT_NE("Fake", PlatformName());
    Platform::LogError(QZ_TEXT("PlatformTest"), QZ_TEXT("to the first"));
    EXPECT_EQ(0, second.logs);
  }
  EXPECT_EQ(first, Platform::Instance());
}

// Runs last in this program: it takes the platform down and brings it back.
TEST(Platform, WithoutSingletonEverythingIsInert) {
  DestroyPlatform();
  ASSERT_EQ(nullptr, Platform::Instance());
  {
    test::LogCapture log;
    EXPECT_EQ(0u, Platform::GetTimeMillis());
    EXPECT_EQ(nullptr, Platform::NewMutex());
    EXPECT_EQ(0, Platform::GetLogLevel());
    Platform::LogError(QZ_TEXT("PlatformTest"), QZ_TEXT("nobody"));
    EXPECT_TRUE(log.Entries().empty());
    StringBuf guid(QZ_TEXT("kept"));
    Platform::NewGUID(guid);
    EXPECT_EQ("kept", U8(guid.ToString()));
  }
  {
    // The first platform made when there is none becomes the singleton.
    FakePlatform fake;
    EXPECT_EQ(&fake, Platform::Instance());
    Platform::LogError(QZ_TEXT("PlatformTest"), QZ_TEXT("to the fake"));
    EXPECT_EQ(1, fake.logs);
  }
  EXPECT_EQ(nullptr, Platform::Instance());
  CreatePlatform();
  EXPECT_NE("Fake", PlatformName());
}

}  // namespace
}  // namespace qz
