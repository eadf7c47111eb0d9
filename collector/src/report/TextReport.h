// The report as plain text, for a terminal (qz-collector report): every
// stored text made printable first, so that what a host sent cannot move
// the cursor, clear the screen or retitle the window.
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
