// UTC time texts of the wire format: "2013-02-11T09:30:05.120Z".
#ifndef QZ_COLLECTOR_TIMETEXT_H
#define QZ_COLLECTOR_TIMETEXT_H

#include <cstdint>
#include <string>

namespace qz {
namespace collector {

class TimeText {
 public:
  static std::string Now();
  static std::string FromMillis(int64_t millis);
  // Milliseconds since 1970-01-01 UTC; false when the text is not of that form.
  static bool ToMillis(const std::string& text, int64_t& millis);
};

}  // namespace collector
}  // namespace qz

#endif  // QZ_COLLECTOR_TIMETEXT_H
