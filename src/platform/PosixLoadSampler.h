// The machine's processor and memory load for performance probes on Linux.
//
// A probe reports the processor load of about the last second, as Windows
// does. The kernel only counts ticks since boot, so a load over one second
// needs a reading taken a second earlier: while a run is started, one of the
// library's threads takes a sample about once a second as it waits
// (PosixThread::Sleep), never a thread of its own and never the host's. A
// probe then computes the load between the newest sample (at most 1.5 s old)
// and the kept one closest to a second before it, and reads only its own
// process's memory: reading /proc/stat and /proc/meminfo costs more than the
// whole rest of the probe. When there is no such pair (the first moments after
// the library loads or a run starts, or the threads were held up posting), the
// probe reads /proc/stat itself and measures from the kept sample closest to a
// second before it.
#ifndef QZ_PLATFORM_POSIXLOADSAMPLER_H
#define QZ_PLATFORM_POSIXLOADSAMPLER_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <mutex>

#include "platform/MachineFacts.h"

namespace qz {

struct LoadSample {
  uint64_t millis = 0;  // monotonic clock
  uint64_t busyTicks = 0;
  uint64_t totalTicks = 0;
  // Only in the samples of the library's threads: a probe that reads the
  // processor ticks itself leaves memory to its own reading.
  bool memoryRead = false;
  uint64_t availableKB = 0;  // memory that can still be committed
  uint64_t swappedKB = 0;    // this process's memory in swap
};

// The kept samples and the choice of window. No system calls: tests feed it
// recorded samples.
class LoadHistory {
 public:
  static constexpr size_t kKept = 8;
  // Kept samples are at least this far apart, so that frequent probes cannot
  // push out the samples a second old.
  static constexpr uint64_t kSpacingMs = 250;
  static constexpr uint64_t kWindowMs = 1000;
  static constexpr uint64_t kFreshMs = 1500;
  // A longer window says nothing about the moment of the probe.
  static constexpr uint64_t kLongestWindowMs = 60000;

  // Dropped when it is less than kSpacingMs after the newest kept sample (or
  // before it); otherwise it replaces the oldest.
  void Record(const LoadSample& sample);
  // The newest sample (with memory, when asked) that is at most kFreshMs old at now.
  bool Fresh(uint64_t now, bool withMemory, LoadSample& out) const;
  // Percent busy between end and the kept sample whose distance before it
  // is nearest kWindowMs by ratio (so that a tenth of a second beats half a
  // minute), among those shortestMs to longestMs before it with ticks counted
  // in between; false when there is none.
  bool LoadUntil(const LoadSample& end, uint64_t shortestMs, uint64_t longestMs,
                 uint32_t& percent) const;

 private:
  LoadSample samples[kKept];
  size_t count = 0;
  size_t next = 0;  // where the next sample goes
};

class PosixLoadSampler {
 public:
  static constexpr uint64_t kIntervalMs = 1000;
  // A thread that has not sampled for this long is held up; another takes over.
  // The others look this often, so it is long: every wake costs the idle run.
  static constexpr uint64_t kTakeOverMs = 10000;

  // The process's one sampler. It has no destructor to run at exit, when a
  // thread that could not be stopped may still use it.
  static PosixLoadSampler& Instance();
  static uint64_t NowMillis();
  // The first line of /proc/stat; false when it cannot be read.
  static bool ReadTicks(LoadSample& out);
  // /proc/meminfo, and /proc/self/status when the machine swaps.
  static void ReadMemory(LoadSample& out);

  // A sample now, kept (the load step takes the first).
  void Sample();
  // For a waiting thread: the moment to call again; at or before now, take a
  // sample. The first thread to ask samples every kIntervalMs until it ends
  // (Release); the others ask again when it would be kTakeOverMs late (held
  // up posting, say), and one of them takes over then.
  uint64_t NextSampleFor(const void* thread, uint64_t now);
  void Release(const void* thread);

  // For a probe, on the host's thread.
  uint32_t CpuLoad();
  void GetMemoryUse(MemoryUseInfo& info);

  // Samples attempted so far (tests wait for them).
  uint64_t Attempts() const { return attempts.load(); }

 private:
  std::mutex lock;  // a leaf, held only to copy samples
  LoadHistory history;
  std::atomic<const void*> sampler{nullptr};
  std::atomic<uint64_t> lastAttempt{0};
  std::atomic<uint64_t> attempts{0};

  std::atomic<bool> forkHandled{false};

  // A fork keeps the lock consistent; the child has none of the threads.
  static void LockBeforeFork();
  static void UnlockInParent();
  static void ResetInChild();
};

}  // namespace qz

#endif  // QZ_PLATFORM_POSIXLOADSAMPLER_H
