// Memory running out at any allocation of a run: the run's allocations are
// counted once, then the run is repeated with the first, the second, ... of
// them failing. The host must never see an exception or a crash, and once
// memory is back the library must work as before.
//
// A program of its own, because it replaces the global operator new (and
// the rest of the family, or a sanitizer's own new[] would bypass it).
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <string>

#include "alloc/InlineClasses.h"
#include "qz/API.h"
#include "qz/BinaryInfo.h"
#include "qz/Configuration.h"
#include "qz/ExceptionInfo.h"
#include "qz/ExtendedKeys.h"
#include "support/LogCapture.h"
#include "support/Receiver.h"
#include "support/TestText.h"

namespace {

// -1: nothing fails. Otherwise the number of allocations still to succeed
// before one fails; every allocation after that one succeeds again.
std::atomic<long> g_countdown{-1};
// Allocations seen while counting.
std::atomic<bool> g_counting{false};
std::atomic<long> g_count{0};

bool FailThisOne() {
  if (g_counting.load(std::memory_order_relaxed)) g_count.fetch_add(1, std::memory_order_relaxed);
  if (g_countdown.load(std::memory_order_relaxed) < 0) return false;
  return g_countdown.fetch_sub(1, std::memory_order_relaxed) == 0;
}

void* Allocate(std::size_t size) {
  if (FailThisOne()) return nullptr;
  return std::malloc(size != 0 ? size : 1);
}

}  // namespace

// The whole family allocates with malloc and frees with free; the compiler
// cannot see that the pair matches.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
#endif

void* operator new(std::size_t size) {
  void* p = Allocate(size);
  if (p == nullptr) throw std::bad_alloc();
  return p;
}
void* operator new[](std::size_t size) {
  void* p = Allocate(size);
  if (p == nullptr) throw std::bad_alloc();
  return p;
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return Allocate(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return Allocate(size); }
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { std::free(p); }

namespace qz {
namespace {

const QZChar kCompany[] = QZ_TEXT("9531985D-5D9D-49F8-9818-E811892F902B");
const QZChar kApplication[] = QZ_TEXT("36F675CC-81E7-4EF5-A8E2-5D940ED90475");
const QZChar kSession[] = QZ_TEXT("6B0D549B-6F03-475A-9600-A35A099950D8");

class AllocationFailureTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string why;
    if (!receiver.Connect(&why)) GTEST_SKIP() << why;
    ASSERT_TRUE(receiver.Reset());
    config.SetCompanyID(kCompany);
    config.SetApplicationID(kApplication);
    // No batch is kept when a post fails, so the runs leave nothing behind.
    config.SetSupportOfflineStorage(false);
    config.SetUseSSL(false);
    info.SetName(QZ_TEXT("editor.exe"));
    info.SetModifiedDate(1330837567089ULL);
    keys.Add(QZ_TEXT("format"), QZ_TEXT("PDF"));
    keys.Add(QZ_TEXT("pages"), 12);
    exception.SetType(QZ_TEXT("IOException"));
    exception.SetMessage(QZ_TEXT("disk full"));
  }
  void TearDown() override { API::ApplicationStop(nullptr); }

  void UseEndpoint(int port) {
    const std::string location = "127.0.0.1:" + std::to_string(port) + "/qz";
    config.SetEndpointLocation(test::W(location.c_str()).c_str());
  }

  // One event of each kind; true when nothing escaped into the host.
  bool Run() {
    try {
      API::ApplicationStart(&config, &info, &keys);
      API::SessionStart(kSession, &info, &keys);
      API::FeatureStart(QZ_TEXT("Export"), &info, &keys);
      API::FeatureTick(QZ_TEXT("Zoom"), &keys);
      API::FeatureStop(QZ_TEXT("Export"), &info, &keys);
      API::PerformanceProbe(QZ_TEXT("Render"), &info, &keys);
      API::ReportException(exception, &info, &keys);
      API::SystemProfile(&info, &keys);
      API::SendMessages();
      API::GetDefaultSession();
      API::SessionStop(kSession, &keys);
      API::ApplicationStop(&info, &keys);
      return true;
    } catch (...) {
      return false;
    }
  }

  test::Receiver receiver;
  Configuration config;
  BinaryInfo info;
  ExtendedKeys keys;
  ExceptionInfo exception;
};

TEST_F(AllocationFailureTest, NoAllocationFailureReachesTheHostAndTheLibraryRecovers) {
  // Posts fail at once: the runs cost little and leave nothing at the receiver.
  UseEndpoint(receiver.ClosedPort());
  g_count = 0;
  g_counting = true;
  ASSERT_TRUE(Run());
  g_counting = false;
  // The library's own threads allocate in parallel, so counts vary a little.
  const long allocations = g_count.load() + g_count.load() / 10;
  ASSERT_GT(allocations, 100);
  std::printf("failing each of %ld allocations in turn\n", allocations);

  long escaped = 0;
  long stillStarted = 0;
  test::LogCapture log;
  for (long n = 0; n < allocations; ++n) {
    g_countdown = n;
    const bool contained = Run();
    g_countdown = -1;
    if (!contained) ++escaped;
    // A stop that ran out of memory still ends the run.
    if (API::IsApplicationStarted()) {
      ++stillStarted;
      API::ApplicationStop(nullptr);
    }
  }
  EXPECT_EQ(0, escaped) << "of " << allocations << " failed allocations";
  EXPECT_EQ(0, stillStarted);
  // The failures did happen, and were caught where the library meets them.
  long caught = 0;
  for (const test::LogEntry& entry : log.Entries()) caught += entry.message == "Out of memory";
  EXPECT_GT(caught, allocations / 4);

  // Memory is back: a whole run arrives as before (sent, then the rest at the stop).
  UseEndpoint(receiver.HttpPort());
  ASSERT_TRUE(Run());
  std::string bodies;
  for (int i = 0; i < receiver.Count(); ++i) {
    test::RecordedRequest request;
    ASSERT_TRUE(receiver.Request(i, request));
    bodies += request.body;
  }
  for (const char* element : {"<app-start ", "<session-start ", "<feature ", "<performance-probe ",
                              "<fault ", "<system-profile ", "<session-stop ", "<app-stop "}) {
    EXPECT_NE(std::string::npos, bodies.find(element)) << element;
  }
}

// The inline classes Visual C++ hosts get, with each allocation of using them
// failing in turn: they throw std::bad_alloc only where the exported classes
// do (constructors, StringBuf's operations), and give nothing half made.
TEST(InlineClassesTest, MemoryRunningOutThrowsOnlyWhereTheExportedClassesDo) {
  g_count = 0;
  g_counting = true;
  ASSERT_TRUE(test::UseEveryInlineClass());
  g_counting = false;
  const long allocations = g_count.load();
  ASSERT_GT(allocations, 20);

  long thrown = 0;
  long wrong = 0;
  long escaped = 0;
  test::LogCapture log;
  for (long n = 0; n < allocations; ++n) {
    g_countdown = n;
    try {
      if (!test::UseEveryInlineClass()) ++wrong;
    } catch (const std::bad_alloc&) {
      ++thrown;
    } catch (...) {
      ++escaped;
    }
    g_countdown = -1;
  }
  std::printf("inline classes: %ld allocations, %ld failures thrown to the host\n", allocations,
              thrown);
  EXPECT_EQ(0, escaped);
  EXPECT_EQ(0, wrong);
  // Some failures reach the host, as the exported classes let them; the
  // library logs and absorbs the others.
  EXPECT_GT(thrown, 0);
  EXPECT_LT(thrown, allocations);
  EXPECT_TRUE(test::UseEveryInlineClass());
}

}  // namespace
}  // namespace qz
