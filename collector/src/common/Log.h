// The collector's diagnostics: one line each on standard error, with the time,
// the level and the source ("Class" or "Class::Operation").
#ifndef QZ_COLLECTOR_LOG_H
#define QZ_COLLECTOR_LOG_H

#include <string>

namespace qz {
namespace collector {

class Log {
 public:
  static void Info(const char* source, const std::string& message);
  static void Warn(const char* source, const std::string& message);
  static void Error(const char* source, const std::string& message);
  // Information lines are written only when verbose (warnings and errors always).
  static void SetVerbose(bool on);
  static bool Verbose();
};

}  // namespace collector
}  // namespace qz

#endif  // QZ_COLLECTOR_LOG_H
