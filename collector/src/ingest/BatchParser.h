// Turns a request body into a validated element tree. Batches as the library
// writes them take the quick way (BatchScanner); any other body is made
// parseable (CharacterReferences), parsed by libxml2, validated against the
// wire schema and copied out with every text restored, which also gives the
// reason for a refusal.
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
  // The same through libxml2 and the schema only, whatever the body.
  bool ParseFully(const std::string& body, Element& root, std::string& error) const;

 private:
  const MessagingSchema& schema;
};

}  // namespace collector
}  // namespace qz

#endif  // QZ_COLLECTOR_BATCHPARSER_H
