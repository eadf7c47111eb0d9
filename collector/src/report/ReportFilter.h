// Which part of the data a report shows: one company's application, one
// version or all, a range of days (UTC, both ends included; by default the
// 30 days up to today) and a view. Read from a query string
// (?company=...&application=...&version=...&from=...&to=...&view=...) or
// the command line, and written back as one for links and as a cache key.
#ifndef QZ_COLLECTOR_REPORTFILTER_H
#define QZ_COLLECTOR_REPORTFILTER_H

#include <string>
#include <vector>

namespace qz {
namespace collector {

struct ReportFilter {
  static constexpr int kDefaultDays = 30;
  static constexpr int kMaxDays = 3660;
  static const std::vector<std::string>& Views();  // "overview" first

  std::string company;      // GUID in upper case; empty: the first stored
  std::string application;  // GUID in upper case; empty: the first of the company
  std::string version;      // empty: every version
  std::string from, to;     // "YYYY-MM-DD"; empty: the default range
  std::string view;         // one of Views(); empty: the default (overview, or all for text)

  // Sets one parameter from its text; false with the reason when the text
  // is not a GUID, a date, a known view or a version of sane length.
  bool Set(const std::string& name, const std::string& value, std::string& error);
  // Every parameter of a query string ("a=1&b=2", percent-encoded); names
  // other than the filter's are ignored.
  bool SetFromQuery(const std::string& query, std::string& error);
  // Fills an empty range from today ("YYYY-MM-DD"), orders it and keeps it
  // within kMaxDays.
  void SetDefaultRange(const std::string& today);
  // The canonical query string, with view when asked.
  std::string Query(bool withView = true) const;

  static std::string Today();
  static std::string Decode(const std::string& text);  // percent and '+' decoding
  static std::string Encode(const std::string& text);
  static bool IsGuid(const std::string& text);
  static bool IsDay(const std::string& text);
  // The day count days after day (negative: before).
  static std::string AddDays(const std::string& day, int days);
};

}  // namespace collector
}  // namespace qz

#endif  // QZ_COLLECTOR_REPORTFILTER_H
