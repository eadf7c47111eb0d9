#include "platform/PosixPlatform.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/random.h>
#include <syslog.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <new>
#include <string>

#include "delivery/PosixMutex.h"
#include "delivery/PosixThread.h"
#include "delivery/PosixThreadID.h"
#include "delivery/PosixXMLTransmitter.h"
#include "offline/PosixOfflineData.h"
#include "platform/CaughtException.h"
#include "platform/DefaultEndpoint.h"
#include "platform/PosixLoadSampler.h"
#include "types/Utf8.h"

namespace qz {
namespace {

// GUID source: two keyed counters run through bijective mixers, so every call
// costs one atomic increment and no lock; a fork cannot leave a lock held.
// The keys come from the kernel; a forked child draws new ones, or it would
// repeat its parent's GUIDs.
struct GuidKeys {
  uint64_t high;
  uint64_t low;
};
GuidKeys g_guidKeys;  // written only while one thread runs (load step, forked child)
std::atomic<uint64_t> g_guidCounter{0};
std::atomic<bool> g_guidSeeded{false};

bool ReadKernelRandom(void* buffer, size_t size) {
  auto* bytes = static_cast<unsigned char*>(buffer);
  size_t done = 0;
  while (done < size) {
    ssize_t n = getrandom(bytes + done, size - done, 0);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    done += static_cast<size_t>(n);
  }
  if (done == size) return true;
  // Kernels before 3.17 have no getrandom.
  int fd = open("/dev/urandom", O_RDONLY | O_CLOEXEC);
  if (fd < 0) return false;
  done = 0;
  while (done < size) {
    ssize_t n = read(fd, bytes + done, size - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    done += static_cast<size_t>(n);
  }
  close(fd);
  return done == size;
}

uint64_t Mix64(uint64_t z) {
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
  return z ^ (z >> 31);
}

void SeedGuidKeys() {
  GuidKeys keys;
  if (!ReadKernelRandom(&keys, sizeof keys)) {
    // No kernel randomness at all: the clocks, the process and an address
    // still differ between processes and machines far more often than not.
    timespec real;
    timespec mono;
    clock_gettime(CLOCK_REALTIME, &real);
    clock_gettime(CLOCK_MONOTONIC, &mono);
    uint64_t local = reinterpret_cast<uintptr_t>(&keys);
    keys.high = Mix64((static_cast<uint64_t>(real.tv_sec) * 1000000000ULL +
                       static_cast<uint64_t>(real.tv_nsec)) ^ (local << 16));
    keys.low = Mix64(static_cast<uint64_t>(mono.tv_nsec) ^ (static_cast<uint64_t>(getpid()) << 32) ^
                     static_cast<uint64_t>(gethostid()) ^ keys.high);
  }
  g_guidKeys = keys;
}

void ReseedAfterFork() {
  SeedGuidKeys();
  g_guidCounter.store(0, std::memory_order_relaxed);
}

void EnsureGuidSeeded() {
  if (g_guidSeeded.exchange(true)) return;
  SeedGuidKeys();
  pthread_atfork(nullptr, nullptr, &ReseedAfterFork);
}

void AppendHex(QZChar* out, uint64_t value, int digits) {
  static const char kDigits[] = "0123456789ABCDEF";
  for (int i = digits - 1; i >= 0; --i) {
    out[i] = static_cast<QZChar>(kDigits[value & 0xF]);
    value >>= 4;
  }
}

void WriteSyslog(int priority, const QZChar* source, const QZChar* message) {
  try {
    std::string text = ToUtf8(source);
    text += ": ";
    text += ToUtf8(message);
    syslog(LOG_USER | priority, "%s", text.c_str());
  } catch (const std::bad_alloc&) {
    // No room for the text: at least the kind of event.
    syslog(LOG_USER | priority, "%s", "qz: a diagnostic was dropped: out of memory");
  }
}

}  // namespace

// The constructor runs in the load step, before the library starts a thread.
PosixPlatform::PosixPlatform() {
  EnsureGuidSeeded();
  // Not thread-safe, so once here in the load step rather than per transfer.
  curl_global_init(CURL_GLOBAL_DEFAULT);
  // A probe before any thread has sampled measures from here.
  PosixLoadSampler::Instance().Sample();
}

PosixPlatform::~PosixPlatform() { curl_global_cleanup(); }

Mutex* PosixPlatform::DoNewMutex() {
  return NewOrNull<PosixMutex>(QZ_TEXT("PosixPlatform::NewMutex"));
}

ThreadID* PosixPlatform::DoNewThreadID() {
  return NewOrNull<PosixThreadID>(QZ_TEXT("PosixPlatform::NewThreadID"));
}

IThread* PosixPlatform::DoNewThread(IRunnable* runnable) {
  return NewOrNull<PosixThread>(QZ_TEXT("PosixPlatform::NewThread"), runnable);
}

XMLTransmitter* PosixPlatform::DoNewXMLTransmitter(Configuration* configuration) {
  if (configuration == nullptr) return nullptr;
  return NewOrNull<PosixXMLTransmitter>(QZ_TEXT("PosixPlatform::NewXMLTransmitter"), *configuration);
}

OfflineData* PosixPlatform::DoNewOfflineData() {
  return NewOrNull<PosixOfflineData>(QZ_TEXT("PosixPlatform::NewOfflineData"));
}

void PosixPlatform::DoApplyDefaultEndpoint(Configuration* configuration) {
  ApplyDefaultEndpointTo(configuration);
}

void PosixPlatform::DoGetPlatformInfo(PlatformInfo& info) {
  info.name = QZ_TEXT("Linux");
  info.version = QZ_TEXT("1.0");
}

uint64_t PosixPlatform::DoGetTimeMillis() {
  timespec now;
  if (clock_gettime(CLOCK_REALTIME, &now) != 0 || now.tv_sec < 0) return 0;
  return static_cast<uint64_t>(now.tv_sec) * 1000 + static_cast<uint64_t>(now.tv_nsec) / 1000000;
}

void PosixPlatform::DoFormatTime(uint64_t milliseconds, StringBuf& out) {
  // Calendar arithmetic rather than gmtime_r, which takes the C library's
  // time-zone lock.
  out.Clear();
  if (milliseconds <= kLastTimeTextMillis) AppendTimeText(out, milliseconds);
}

void PosixPlatform::DoGetTimeString(StringBuf& out) { DoFormatTime(DoGetTimeMillis(), out); }

void PosixPlatform::DoNewGUID(StringBuf& out) {
  uint64_t n = g_guidCounter.fetch_add(1, std::memory_order_relaxed);
  // Odd multipliers keep each half a bijection of the counter.
  uint64_t high = Mix64(g_guidKeys.high + n * 0x9E3779B97F4A7C15ULL);
  uint64_t low = Mix64(g_guidKeys.low + n * 0xD1B54A32D192ED03ULL);
  high = (high & ~0xF000ULL) | 0x4000ULL;                      // version 4
  low = (low & 0x3FFFFFFFFFFFFFFFULL) | 0x8000000000000000ULL;  // RFC 4122 variant

  QZChar text[36];
  AppendHex(text, high >> 32, 8);
  text[8] = QZ_TEXT('-');
  AppendHex(text + 9, (high >> 16) & 0xFFFF, 4);
  text[13] = QZ_TEXT('-');
  AppendHex(text + 14, high & 0xFFFF, 4);
  text[18] = QZ_TEXT('-');
  AppendHex(text + 19, low >> 48, 4);
  text[23] = QZ_TEXT('-');
  AppendHex(text + 24, low & 0xFFFFFFFFFFFFULL, 12);
  out.Clear();
  out.Append(text, 36);
}

void PosixPlatform::DoLogInfo(const QZChar* source, const QZChar* message) {
  WriteSyslog(LOG_INFO, source, message);
}

void PosixPlatform::DoLogWarn(const QZChar* source, const QZChar* message) {
  WriteSyslog(LOG_WARNING, source, message);
}

void PosixPlatform::DoLogError(const QZChar* source, const QZChar* message) {
  WriteSyslog(LOG_ERR, source, message);
}

// Nothing to log to without a platform.
Platform* NewNativePlatform() {
  try {
    return new PosixPlatform();
  } catch (...) {
    return nullptr;
  }
}

}  // namespace qz
