#include "platform/PosixCpuLoad.h"

#include <string>
#include <utility>

namespace qz {
namespace {

std::vector<CpuTicks> Sample() {
  std::string text;
  if (!ReadSmallFile("/proc/stat", text)) return {};
  return ParseProcStat(text);
}

uint64_t TicksPerProcessor(const std::vector<CpuTicks>& sample) {
  if (sample.empty()) return 0;
  uint64_t sum = 0;
  for (const CpuTicks& cpu : sample) sum += cpu.total;
  return sum / sample.size();
}

}  // namespace

PosixCpuLoad::PosixCpuLoad() : PosixCpuLoad(Sample()) {}

PosixCpuLoad::PosixCpuLoad(std::vector<CpuTicks> firstSample) : previous(std::move(firstSample)) {}

uint32_t PosixCpuLoad::Read() { return Update(Sample()); }

uint32_t PosixCpuLoad::Update(std::vector<CpuTicks> sample) {
  if (sample.empty()) return 0;
  std::lock_guard<std::mutex> guard(lock);
  const uint64_t then = TicksPerProcessor(previous);
  const uint64_t now = TicksPerProcessor(sample);
  if (!previous.empty() && now >= then && now - then < MIN_TICKS) return lastLoad;
  if (!previous.empty()) lastLoad = LoadBetween(previous, sample);
  previous = std::move(sample);
  return lastLoad;
}

}  // namespace qz
