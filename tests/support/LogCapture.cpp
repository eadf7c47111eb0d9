#include "support/LogCapture.h"

#include "platform/Platform.h"
#include "support/TestText.h"

namespace qz {
namespace test {

LogCapture::LogCapture(bool allLevels) : previousLevel_(Platform::GetLogLevel()) {
  previousSink_ = testhooks::SetLogSink(this);
  if (allLevels) Platform::SetLogLevel(Platform::LOG_INFO);
}

LogCapture::~LogCapture() {
  testhooks::SetLogSink(previousSink_);
  Platform::SetLogLevel(previousLevel_);
}

void LogCapture::Write(int32_t level, const QZChar* source, const QZChar* message) {
  LogEntry entry{level, U8(source), U8(message)};
  std::lock_guard<std::mutex> guard(mutex_);
  entries_.push_back(std::move(entry));
}

std::vector<LogEntry> LogCapture::Entries() const {
  std::lock_guard<std::mutex> guard(mutex_);
  return entries_;
}

int LogCapture::Count(const std::string& source, const std::string& message) const {
  std::lock_guard<std::mutex> guard(mutex_);
  int n = 0;
  for (const LogEntry& e : entries_) {
    if (e.source == source && e.message == message) ++n;
  }
  return n;
}

void LogCapture::Clear() {
  std::lock_guard<std::mutex> guard(mutex_);
  entries_.clear();
}

std::string LogCapture::Dump() const {
  std::lock_guard<std::mutex> guard(mutex_);
  std::string out;
  for (const LogEntry& e : entries_) {
    out += std::to_string(e.level) + " " + e.source + ": " + e.message + "\n";
  }
  return out;
}

}  // namespace test
}  // namespace qz
