// Inline SVG charts for the report page: lines over days and horizontal
// bars. Scales round up past the largest value, so that no point sits on
// the top edge; a single day sits in the middle; values of any size.
#ifndef QZ_COLLECTOR_CHARTS_H
#define QZ_COLLECTOR_CHARTS_H

#include <string>
#include <vector>

namespace qz {
namespace collector {

class Charts {
 public:
  struct Series {
    std::string name;
    std::vector<double> values;  // one per label; NaN: no value that day
  };
  struct Bar {
    std::string label, tooltip;
    double value = 0;
    std::string text;  // shown beside the bar
  };

  static std::string Lines(const std::vector<std::string>& labels, const std::vector<Series>& series,
                           const std::string& unit);
  static std::string Bars(const std::vector<Bar>& bars, size_t colour = 0);
  // A round number (1, 1.2, 1.5, 2, 2.5, 3, 4, 5, 6 or 8 times a power of
  // ten) at least 5 % above value.
  static double NiceCeiling(double value);
  static std::string Number(double value);  // "12", "1.5", "3.2e+15"
};

}  // namespace collector
}  // namespace qz

#endif  // QZ_COLLECTOR_CHARTS_H
