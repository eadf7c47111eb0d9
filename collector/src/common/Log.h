// The collector's diagnostics: one line each on standard error, with the time,
// the level and the source ("Class" or "Class::Operation").
#ifndef QZ_COLLECTOR_LOG_H
#define QZ_COLLECTOR_LOG_H

#include <functional>
#include <string>

namespace qz {
namespace collector {

class Log {
 public:
  static void Info(const char* source, const std::string& message);
  // Always written, like warnings, for what an operator should see on a healthy collector.
  static void Note(const char* source, const std::string& message);
  static void Warn(const char* source, const std::string& message);
  static void Error(const char* source, const std::string& message);
  // Information lines are written only when verbose (the others always).
  static void SetVerbose(bool on);
  static bool Verbose();

  // Tests: every written line also goes to sink (level, source, message); null to stop.
  using Sink = std::function<void(const char* level, const char* source, const std::string& message)>;
  static void SetSink(Sink sink);
};

}  // namespace collector
}  // namespace qz

#endif  // QZ_COLLECTOR_LOG_H
