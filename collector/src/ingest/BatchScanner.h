// The quick way through a batch: one pass over the body that reads the XML
// the way the library writes it and checks it against the wire format at the
// same time, building the elements as it goes. It says yes only for a body
// it understands completely and finds valid; for anything else (a comment, a
// DOCTYPE, raw non-ASCII bytes or line breaks inside a value, an unknown
// element, any violation) it declines, and the full parser (libxml2 and the
// XML Schema) decides and gives the reason. So it must never accept what the
// full parser refuses, nor accept with other elements or texts: the tests
// and the fuzz target compare the two.
#ifndef QZ_COLLECTOR_BATCHSCANNER_H
#define QZ_COLLECTOR_BATCHSCANNER_H

#include <string>

#include "common/Element.h"

namespace qz {
namespace collector {

class BatchScanner {
 public:
  // True, with root filled, for a well-formed and valid batch whose times
  // are real; false when the full parser must decide (root is then unspecified).
  static bool Scan(const std::string& body, Element& root);
};

}  // namespace collector
}  // namespace qz

#endif  // QZ_COLLECTOR_BATCHSCANNER_H
