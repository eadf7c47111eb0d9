// The wire format as an XML Schema (collector/schema/messaging.xsd, built into
// the program), compiled once and shared by every worker: libxml2 allows one
// compiled schema to serve several validations at once, each with its own
// validation context.
#ifndef QZ_COLLECTOR_MESSAGINGSCHEMA_H
#define QZ_COLLECTOR_MESSAGINGSCHEMA_H

#include <libxml/tree.h>
#include <libxml/xmlschemas.h>

#include <string>

namespace qz {
namespace collector {

class MessagingSchema {
 public:
  MessagingSchema();
  ~MessagingSchema();
  MessagingSchema(const MessagingSchema&) = delete;
  MessagingSchema& operator=(const MessagingSchema&) = delete;

  // The schema text as built in.
  static const char* Text();
  // False, with the first violation, when the document does not conform.
  bool Validate(xmlDocPtr doc, std::string& error) const;

 private:
  xmlSchemaPtr schema = nullptr;
};

}  // namespace collector
}  // namespace qz

#endif  // QZ_COLLECTOR_MESSAGINGSCHEMA_H
