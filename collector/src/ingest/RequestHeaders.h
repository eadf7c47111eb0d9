// The request headers the library sends with a batch, and the check that they
// agree with the batch they came with.
#ifndef QZ_COLLECTOR_REQUESTHEADERS_H
#define QZ_COLLECTOR_REQUESTHEADERS_H

#include <optional>
#include <string>

#include "common/Element.h"
#include "ingest/Batch.h"

namespace qz {
namespace collector {

struct RequestHeaders {
  std::optional<std::string> contentType;    // "Content-Type"
  std::optional<std::string> companyId;      // "X-QZ-CID"
  std::optional<std::string> applicationId;  // "X-QZ-AID"
  std::optional<std::string> messageGroup;   // "X-QZ-GID"
  std::optional<std::string> agent;          // "X-QZ-API"

  // Fills the request's part of the batch (agent, stored) when the headers
  // agree with the envelope; otherwise false with a short reason.
  bool Check(const Element& root, Batch& batch, std::string& error) const;
};

}  // namespace collector
}  // namespace qz

#endif  // QZ_COLLECTOR_REQUESTHEADERS_H
