#include "support/LogCapture.h"

#include "platform/Platform.h"
#include "support/TestText.h"

namespace qz {
namespace test {

namespace {

// The library's threads may be inside Write while a capture goes away, so the
// installed sink is one that lives forever and forwards under a lock.
class Dispatcher : public testhooks::LogSink {
 public:
  void Write(int32_t level, const QZChar* source, const QZChar* message) override {
    std::lock_guard<std::mutex> guard(mutex_);
    if (target_ != nullptr) target_->Write(level, source, message);
  }
  LogSink* Swap(LogSink* target) {
    std::lock_guard<std::mutex> guard(mutex_);
    LogSink* previous = target_;
    target_ = target;
    return previous;
  }

 private:
  std::mutex mutex_;
  LogSink* target_ = nullptr;
};

Dispatcher& TheDispatcher() {
  static Dispatcher* dispatcher = [] {
    auto* d = new Dispatcher();
    testhooks::SetLogSink(d);
    return d;
  }();
  return *dispatcher;
}

}  // namespace

LogCapture::LogCapture(bool allLevels) : previousLevel_(Platform::GetLogLevel()) {
  previousSink_ = TheDispatcher().Swap(this);
  if (allLevels) Platform::SetLogLevel(Platform::LOG_INFO);
}

LogCapture::~LogCapture() {
  TheDispatcher().Swap(previousSink_);
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
