#include "delivery/RetryAfter.h"

#include <gtest/gtest.h>

#include <string>

#include "delivery/ServerPause.h"
#include "delivery/XMLTransmitter.h"
#include "platform/TestHooks.h"
#include "qz/Configuration.h"
#include "qz/FlowController.h"

namespace qz {
namespace {

// 2015-10-21T07:28:00Z
constexpr uint64_t kNow = 1445412480000ULL;

int64_t Parse(const std::string& value, uint64_t now = kNow) {
  return RetryAfterMillis(value.data(), value.size(), now);
}

TEST(RetryAfterTest, ReadsSecondsAndTheThreeDateForms) {
  EXPECT_EQ(0, Parse("0"));
  EXPECT_EQ(2000, Parse("2"));
  EXPECT_EQ(120000, Parse(" \t120 "));
  // The three forms of one moment, 90 s after kNow.
  EXPECT_EQ(90000, Parse("Wed, 21 Oct 2015 07:29:30 GMT"));
  EXPECT_EQ(90000, Parse("Wednesday, 21-Oct-15 07:29:30 GMT"));
  EXPECT_EQ(90000, Parse("Wed Oct 21 07:29:30 2015"));
  EXPECT_EQ(86400000 + 3600000, Parse("Thu Oct 22 08:28:00 2015"));
  EXPECT_EQ(3000, Parse("Sun Nov  6 08:49:40 1994", 784111777000ULL));
  // A leap day, and a past date: come back at once.
  EXPECT_EQ(0, Parse("Mon, 29 Feb 2016 00:00:00 GMT", 1456704000000ULL));
  EXPECT_EQ(0, Parse("Sun, 06 Nov 1994 08:49:37 GMT"));
}

TEST(RetryAfterTest, CapsWhatWouldOverflow) {
  EXPECT_EQ(INT32_MAX, Parse("2147484"));  // seconds past INT32_MAX milliseconds
  EXPECT_EQ(INT32_MAX, Parse(std::string(5000, '9')));
  EXPECT_EQ(INT32_MAX, Parse("Fri, 31 Dec 9999 23:59:59 GMT"));
}

TEST(RetryAfterTest, AnythingElseIsNoValue) {
  for (const char* value :
       {"", " ", "-1", "1.5", "2s", "+2", "soon", "Wed, 21 Oct 2015 07:29:30", "Wed, 21 Oct 2015 07:29:30 UTC",
        "wed, 21 Oct 2015 07:29:30 GMT", "Wed, 21 Foo 2015 07:29:30 GMT", "Wed, 31 Feb 2015 07:29:30 GMT",
        "Mon, 29 Feb 2015 00:00:00 GMT", "Wed, 21 Oct 2015 24:00:00 GMT", "Wed, 21 Oct 2015 07:60:00 GMT",
        "Wed, 1 Oct 2015 07:29:30 GMT", "Wed, 21 Oct 2015 07:29:30 GMT x", "Wed Oct 21 07:29:30 15",
        "Wednesday, 21 Oct 2015 07:29:30 GMT", "Wed,21 Oct 2015 07:29:30 GMT", "Wed, 00 Oct 2015 07:29:30 GMT"}) {
    EXPECT_EQ(-1, Parse(value)) << value;
  }
  EXPECT_EQ(-1, RetryAfterMillis(nullptr, 0, kNow));
  // A NUL inside is not white space.
  EXPECT_EQ(-1, Parse(std::string("2\0", 2)));
}

// A transmitter whose last answer the test chooses.
class AnsweredTransmitter : public XMLTransmitter {
 public:
  explicit AnsweredTransmitter(const Configuration& configuration) : XMLTransmitter(configuration) {}
  bool Post(const StringBuf&, const StringBuf&, const StringBuf&, const StringBuf&,
            const StringBuf&) override {
    return false;
  }
  void Answer(int64_t retryAfter) { lastRetryAfter = retryAfter; }
};

uint64_t g_clock = 0;
uint64_t TestClock() { return g_clock; }

class ServerPauseTest : public ::testing::Test {
 protected:
  void SetUp() override {
    g_clock = kNow;
    previous = testhooks::SetClockOverride(&TestClock);
  }
  void TearDown() override { testhooks::SetClockOverride(previous); }
  testhooks::ClockFunction previous = nullptr;
  Configuration configuration;
  AnsweredTransmitter transmitter{configuration};
  FlowController flow;
  ServerPause pause;
};

TEST_F(ServerPauseTest, LastsWhatTheAnswerAskedBoundedByTheFailurePause) {
  transmitter.Answer(-1);
  EXPECT_FALSE(pause.Begin(transmitter, flow));
  EXPECT_FALSE(pause.IsActive());

  transmitter.Answer(2000);
  EXPECT_TRUE(pause.Begin(transmitter, flow));
  EXPECT_TRUE(pause.IsActive());
  g_clock += 1999;
  EXPECT_TRUE(pause.IsActive());
  g_clock += 1;
  EXPECT_FALSE(pause.IsActive());

  // Asked for an hour: no longer than the 60 s pause after failures.
  transmitter.Answer(3600000);
  EXPECT_TRUE(pause.Begin(transmitter, flow));
  g_clock += 59999;
  EXPECT_TRUE(pause.IsActive());
  g_clock += 1;
  EXPECT_FALSE(pause.IsActive());

  flow.SetRetryTimeout(5000);
  EXPECT_TRUE(pause.Begin(transmitter, flow));
  g_clock += 5000;
  EXPECT_FALSE(pause.IsActive());

  // 0 would pause until a success; the server's pause stays bounded.
  flow.SetRetryTimeout(0);
  EXPECT_TRUE(pause.Begin(transmitter, flow));
  g_clock += 60000;
  EXPECT_FALSE(pause.IsActive());

  // "Come back now" starts no pause but is still no failure.
  transmitter.Answer(0);
  EXPECT_TRUE(pause.Begin(transmitter, flow));
  EXPECT_FALSE(pause.IsActive());
}

}  // namespace
}  // namespace qz
