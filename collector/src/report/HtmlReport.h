// The report as one HTML page per view, with inline SVG charts, no external
// assets and no need for scripts: the filters are a form and links that
// carry the query string (a few lines of inline script only submit the form
// when a field changes). Every figure is also in a data- attribute of its
// table row, so that tools (and tests) can read the page's numbers back.
#ifndef QZ_COLLECTOR_HTMLREPORT_H
#define QZ_COLLECTOR_HTMLREPORT_H

#include <string>

#include "report/Report.h"

namespace qz {
namespace collector {

class HtmlReport {
 public:
  static std::string Render(const Report& report);
};

}  // namespace collector
}  // namespace qz

#endif  // QZ_COLLECTOR_HTMLREPORT_H
