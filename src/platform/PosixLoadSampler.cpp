#include "platform/PosixLoadSampler.h"

#include <pthread.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <string_view>
#include <type_traits>

#include "platform/PosixFactFiles.h"

namespace qz {
namespace {

PosixLoadSampler g_sampler;
static_assert(std::is_trivially_destructible<PosixLoadSampler>::value,
              "the sampler must outlive threads that could not be stopped");

// How far a window of this length is from the one wanted, as a ratio.
double RatioFromWindow(uint64_t millis) {
  const double wanted = static_cast<double>(LoadHistory::kWindowMs);
  const double length = static_cast<double>(millis);
  return length > wanted ? length / wanted : wanted / length;
}

uint32_t KilobytesToMiB(uint64_t kilobytes) { return static_cast<uint32_t>(kilobytes >> 10); }

}  // namespace

void LoadHistory::Record(const LoadSample& sample) {
  if (count > 0 && sample.millis < samples[(next + kKept - 1) % kKept].millis + kSpacingMs) return;
  samples[next] = sample;
  next = (next + 1) % kKept;
  if (count < kKept) ++count;
}

bool LoadHistory::Fresh(uint64_t now, bool withMemory, LoadSample& out) const {
  for (size_t i = 1; i <= count; ++i) {
    const LoadSample& sample = samples[(next + kKept - i) % kKept];
    if (now > sample.millis + kFreshMs) return false;
    if (withMemory && !sample.memoryRead) continue;
    out = sample;
    return true;
  }
  return false;
}

bool LoadHistory::LoadUntil(const LoadSample& end, uint64_t shortestMs, uint64_t longestMs,
                            uint32_t& percent) const {
  const LoadSample* start = nullptr;
  for (size_t i = 0; i < count; ++i) {
    const LoadSample& sample = samples[i];
    if (sample.millis + shortestMs > end.millis || end.millis - sample.millis > longestMs ||
        sample.totalTicks >= end.totalTicks || sample.busyTicks > end.busyTicks) {
      continue;
    }
    if (start == nullptr || RatioFromWindow(end.millis - sample.millis) <
                                RatioFromWindow(end.millis - start->millis)) {
      start = &sample;
    }
  }
  if (start == nullptr) return false;
  const uint64_t total = end.totalTicks - start->totalTicks;
  const uint64_t busy = std::min(end.busyTicks - start->busyTicks, total);
  percent = static_cast<uint32_t>(busy * 100 / total);
  return true;
}

PosixLoadSampler& PosixLoadSampler::Instance() { return g_sampler; }

uint64_t PosixLoadSampler::NowMillis() {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<uint64_t>(now.tv_sec) * 1000 + static_cast<uint64_t>(now.tv_nsec) / 1000000;
}

bool PosixLoadSampler::ReadTicks(LoadSample& out) {
  // The first line is all it takes (the kernel writes the rest regardless).
  char buffer[512];
  ProcessorTicks ticks;
  if (!ParseProcessorTicks(
          std::string_view(buffer, ReadFileStart("/proc/stat", buffer, sizeof buffer)), ticks)) {
    return false;
  }
  out.busyTicks = ticks.busy;
  out.totalTicks = ticks.total;
  return true;
}

void PosixLoadSampler::ReadMemory(LoadSample& out) {
  // One buffer on the stack for both files: nothing allocated on a host's thread.
  char buffer[4096];
  const std::string_view meminfo(buffer, ReadFileStart("/proc/meminfo", buffer, sizeof buffer));
  out.availableKB = AvailableKilobytes(meminfo);
  out.swappedKB = 0;
  out.memoryRead = true;
  // Without swap in use no process has memory there, and the file costs as
  // much as the rest of the sample.
  if (SwapInUse(meminfo)) {
    const std::string_view status(buffer,
                                  ReadFileStart("/proc/self/status", buffer, sizeof buffer));
    FindKilobytes(status, "VmSwap", out.swappedKB);
  }
}

void PosixLoadSampler::Sample() {
  if (!forkHandled.exchange(true)) pthread_atfork(&LockBeforeFork, &UnlockInParent, &ResetInChild);
  LoadSample sample;
  sample.millis = NowMillis();
  lastAttempt.store(sample.millis);
  attempts.fetch_add(1);
  if (!ReadTicks(sample)) return;
  ReadMemory(sample);
  std::lock_guard<std::mutex> guard(lock);
  history.Record(sample);
}

uint64_t PosixLoadSampler::NextSampleFor(const void* thread, uint64_t now) {
  const uint64_t last = lastAttempt.load();
  const void* current = sampler.load();
  if (current != thread) {
    if (current != nullptr && now < last + kTakeOverMs) return last + kTakeOverMs;
    if (!sampler.compare_exchange_strong(current, thread)) return now + kTakeOverMs;
  }
  return last + kIntervalMs;
}

void PosixLoadSampler::Release(const void* thread) {
  const void* expected = thread;
  sampler.compare_exchange_strong(expected, nullptr);
}

uint32_t PosixLoadSampler::CpuLoad() {
  LoadSample end;
  end.millis = NowMillis();
  uint32_t percent = 0;
  {
    // Between two of the threads' samples: nothing to read.
    std::lock_guard<std::mutex> guard(lock);
    LoadSample newest;
    const uint64_t second = LoadHistory::kWindowMs;
    if (history.Fresh(end.millis, false, newest) &&
        history.LoadUntil(newest, second / 2, 2 * second, percent)) {
      return percent;
    }
  }
  // No such pair: up to now, and kept for the probes that follow.
  if (!ReadTicks(end)) return 0;
  std::lock_guard<std::mutex> guard(lock);
  const bool known = history.LoadUntil(end, 1, LoadHistory::kLongestWindowMs, percent);
  history.Record(end);
  return known ? percent : 0;
}

void PosixLoadSampler::GetMemoryUse(MemoryUseInfo& info) {
  LoadSample sample;
  bool fresh = false;
  {
    std::lock_guard<std::mutex> guard(lock);
    fresh = history.Fresh(NowMillis(), true, sample);
  }
  if (!fresh) ReadMemory(sample);
  char statm[128];
  uint64_t anonymous = 0;
  const size_t size = ReadFileStart("/proc/self/statm", statm, sizeof statm);
  AnonymousKilobytes(std::string_view(statm, size), static_cast<uint64_t>(sysconf(_SC_PAGESIZE)),
                     anonymous);
  info.availableMB = KilobytesToMiB(sample.availableKB);
  info.usedMB = KilobytesToMiB(anonymous + sample.swappedKB);
}

void PosixLoadSampler::LockBeforeFork() { g_sampler.lock.lock(); }

void PosixLoadSampler::UnlockInParent() { g_sampler.lock.unlock(); }

void PosixLoadSampler::ResetInChild() {
  g_sampler.lock.unlock();
  g_sampler.sampler.store(nullptr);
}

}  // namespace qz
