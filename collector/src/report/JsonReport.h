// The report's figures as JSON, for other tools (qz-collector report
// --json, and "/report.json" on the report listener).
#ifndef QZ_COLLECTOR_JSONREPORT_H
#define QZ_COLLECTOR_JSONREPORT_H

#include <string>

#include "report/Report.h"

namespace qz {
namespace collector {

class JsonReport {
 public:
  static std::string Render(const Report& report);
};

}  // namespace collector
}  // namespace qz

#endif  // QZ_COLLECTOR_JSONREPORT_H
