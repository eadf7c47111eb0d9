// Collects the library's diagnostics while it is alive (installs itself as the log sink).
#ifndef QZ_TESTS_SUPPORT_LOGCAPTURE_H
#define QZ_TESTS_SUPPORT_LOGCAPTURE_H

#include <mutex>
#include <string>
#include <vector>

#include "platform/TestHooks.h"

namespace qz {
namespace test {

struct LogEntry {
  int32_t level;
  std::string source;   // UTF-8
  std::string message;  // UTF-8
};

class LogCapture : public testhooks::LogSink {
 public:
  // Also lowers the log level to information so that every call is seen;
  // the previous level comes back with the destructor.
  explicit LogCapture(bool allLevels = true);
  ~LogCapture() override;

  void Write(int32_t level, const QZChar* source, const QZChar* message) override;

  std::vector<LogEntry> Entries() const;
  // Number of entries with this source and message (UTF-8).
  int Count(const std::string& source, const std::string& message) const;
  bool Contains(const std::string& source, const std::string& message) const {
    return Count(source, message) > 0;
  }
  void Clear();
  // All entries, one a line, for failure messages.
  std::string Dump() const;

 private:
  mutable std::mutex mutex_;
  std::vector<LogEntry> entries_;
  testhooks::LogSink* previousSink_;
  int32_t previousLevel_;
};

}  // namespace test
}  // namespace qz

#endif  // QZ_TESTS_SUPPORT_LOGCAPTURE_H
