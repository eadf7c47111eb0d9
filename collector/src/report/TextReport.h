// The report as plain text, for a terminal (qz-collector report).
#ifndef QZ_COLLECTOR_TEXTREPORT_H
#define QZ_COLLECTOR_TEXTREPORT_H

#include <string>

#include "report/Report.h"

namespace qz {
namespace collector {

class TextReport {
 public:
  static std::string Render(const Report& report);
};

}  // namespace collector
}  // namespace qz

#endif  // QZ_COLLECTOR_TEXTREPORT_H
