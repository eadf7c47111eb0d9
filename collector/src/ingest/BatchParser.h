// Turns a request body into a validated element tree: character references
// made parseable (CharacterReferences), parsed by libxml2, validated against
// the wire schema, and copied out with every text restored.
#ifndef QZ_COLLECTOR_BATCHPARSER_H
#define QZ_COLLECTOR_BATCHPARSER_H

#include <string>

#include "common/Element.h"
#include "ingest/MessagingSchema.h"

namespace qz {
namespace collector {

class BatchParser {
 public:
  explicit BatchParser(const MessagingSchema& schema) : schema(schema) {}

  // False, with a short reason, for a body that is not a well-formed batch.
  bool Parse(const std::string& body, Element& root, std::string& error) const;

 private:
  const MessagingSchema& schema;
};

}  // namespace collector
}  // namespace qz

#endif  // QZ_COLLECTOR_BATCHPARSER_H
