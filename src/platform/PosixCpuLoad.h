// The processors' average load from /proc/stat, over the time since the
// previous reading: a probe on the host's thread reads one file and never
// waits for a sampling interval.
#ifndef QZ_PLATFORM_POSIXCPULOAD_H
#define QZ_PLATFORM_POSIXCPULOAD_H

#include <cstdint>
#include <mutex>
#include <vector>

#include "platform/PosixFactFiles.h"

namespace qz {

class PosixCpuLoad {
 public:
  // Readings shorter than this (in clock ticks per processor, 100 a second
  // on Linux) repeat the previous result rather than report a coarse one.
  static constexpr uint64_t MIN_TICKS = 10;

  // Takes the first sample, so that the first reading covers the time since.
  PosixCpuLoad();
  explicit PosixCpuLoad(std::vector<CpuTicks> firstSample);
  PosixCpuLoad(const PosixCpuLoad&) = delete;
  PosixCpuLoad& operator=(const PosixCpuLoad&) = delete;

  // Percent, 0 when unknown.
  uint32_t Read();
  // The same with a sample taken elsewhere; the first sample gives 0.
  uint32_t Update(std::vector<CpuTicks> sample);

 private:
  std::mutex lock;  // a leaf: nothing is called while it is held
  std::vector<CpuTicks> previous;
  uint32_t lastLoad = 0;
};

}  // namespace qz

#endif  // QZ_PLATFORM_POSIXCPULOAD_H
