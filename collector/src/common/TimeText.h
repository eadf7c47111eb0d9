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
  // Milliseconds since 1970-01-01 UTC; false when the text is not of that
  // form or names no real time (month 13, February 30, second 60, year 0).
  static bool ToMillis(const std::string& text, int64_t& millis);
  // A time with a zone, "2013-02-11T09:30:05+01:00" or "...Z", that names a
  // real time (offsets up to 14 hours).
  static bool IsZonedTime(const std::string& text);
};

}  // namespace collector
}  // namespace qz

#endif  // QZ_COLLECTOR_TIMETEXT_H
