// A received batch that passed every check: the "messages" element and what
// the request said about it.
#ifndef QZ_COLLECTOR_BATCH_H
#define QZ_COLLECTOR_BATCH_H

#include <string>

#include "common/Element.h"

namespace qz {
namespace collector {

struct Batch {
  Element root;          // "messages", with company, application and the messages
  std::string agent;     // the X-QZ-API header: platform name/version[ offline]
  bool stored = false;   // sent later from the library's offline storage
  std::string received;  // UTC time text of its arrival
};

}  // namespace collector
}  // namespace qz

#endif  // QZ_COLLECTOR_BATCH_H
