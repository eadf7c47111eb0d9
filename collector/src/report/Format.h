// Turning stored values into text that is safe wherever it goes. Stored
// texts are whatever a host sent: control characters (a terminal's escape
// sequences), direction overrides, invalid UTF-8 from a damaged database,
// any length. Numbers may be at the ends of their ranges.
#ifndef QZ_COLLECTOR_FORMAT_H
#define QZ_COLLECTOR_FORMAT_H

#include <cstdint>
#include <string>

namespace qz {
namespace collector {

class Format {
 public:
  // Valid UTF-8 with every control character (C0, DEL, C1), direction
  // override and invalid byte replaced by U+FFFD: fit for a terminal, HTML
  // and JSON alike. Line feeds too, unless keepLines.
  static std::string Printable(const std::string& text, bool keepLines = false);
  // At most maxChars characters, cut between characters (never inside a
  // UTF-8 sequence), "..." marking a cut. Printable first.
  static std::string Cut(const std::string& text, size_t maxChars);
  // HTML text or attribute value: Printable, then escaped.
  static std::string Html(const std::string& text);
  // A JSON string with its quotes.
  static std::string Json(const std::string& text);
  // "1.500 s", "-1.500 s", "2 min 05 s", "3 h 04 min", "12 d 05 h"; any int64.
  static std::string Duration(int64_t ms);
  // "1234567" as "1,234,567"; any int64.
  static std::string Count(int64_t n);
  // "12.5 %" of part in whole ("-" when whole is 0).
  static std::string Percent(double part, double whole);
};

}  // namespace collector
}  // namespace qz

#endif  // QZ_COLLECTOR_FORMAT_H
