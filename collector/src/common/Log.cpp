#include "common/Log.h"

#include <atomic>
#include <cstdio>
#include <mutex>

#include "common/TimeText.h"

namespace qz {
namespace collector {

namespace {

std::atomic<bool> verbose{false};
std::atomic<bool> hasSink{false};
std::mutex sinkLock;
Log::Sink sink;

void Write(const char* level, const char* source, const std::string& message) {
  // One fprintf per line: stdio locks the stream, so lines never interleave.
  std::fprintf(stderr, "%s %s %s: %s\n", TimeText::Now().c_str(), level, source, message.c_str());
  if (hasSink.load(std::memory_order_acquire)) {
    std::lock_guard<std::mutex> hold(sinkLock);
    if (sink) sink(level, source, message);
  }
}

}  // namespace

void Log::Info(const char* source, const std::string& message) {
  if (verbose.load(std::memory_order_relaxed)) Write("info", source, message);
}

void Log::Note(const char* source, const std::string& message) { Write("notice", source, message); }

void Log::Warn(const char* source, const std::string& message) { Write("warning", source, message); }

void Log::Error(const char* source, const std::string& message) { Write("error", source, message); }

void Log::SetVerbose(bool on) { verbose.store(on, std::memory_order_relaxed); }

bool Log::Verbose() { return verbose.load(std::memory_order_relaxed); }

void Log::SetSink(Sink s) {
  std::lock_guard<std::mutex> hold(sinkLock);
  sink = std::move(s);
  hasSink.store(static_cast<bool>(sink), std::memory_order_release);
}

}  // namespace collector
}  // namespace qz
