#include "common/Log.h"

#include <atomic>
#include <cstdio>

#include "common/TimeText.h"

namespace qz {
namespace collector {

namespace {

std::atomic<bool> verbose{false};

void Write(const char* level, const char* source, const std::string& message) {
  // One fprintf per line: stdio locks the stream, so lines never interleave.
  std::fprintf(stderr, "%s %s %s: %s\n", TimeText::Now().c_str(), level, source, message.c_str());
}

}  // namespace

void Log::Info(const char* source, const std::string& message) {
  if (verbose.load(std::memory_order_relaxed)) Write("info", source, message);
}

void Log::Warn(const char* source, const std::string& message) { Write("warning", source, message); }

void Log::Error(const char* source, const std::string& message) { Write("error", source, message); }

void Log::SetVerbose(bool on) { verbose.store(on, std::memory_order_relaxed); }

bool Log::Verbose() { return verbose.load(std::memory_order_relaxed); }

}  // namespace collector
}  // namespace qz
