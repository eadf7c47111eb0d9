#include "ingest/MessagingSchema.h"

#include <libxml/parser.h>

#include <cstring>
#include <stdexcept>

namespace qz {
namespace collector {

extern const char kMessagingSchemaText[];

namespace {

// Keeps the first error's message; libxml2 calls this for every error.
void KeepFirstError(void* context, xmlErrorPtr error) {
  auto* first = static_cast<std::string*>(context);
  if (!first->empty() || error == nullptr || error->message == nullptr) return;
  *first = error->message;
  while (!first->empty() && (first->back() == '\n' || first->back() == ' ')) first->pop_back();
  if (error->line > 0) *first = "line " + std::to_string(error->line) + ": " + *first;
  if (first->size() > 300) first->resize(300);
}

}  // namespace

const char* MessagingSchema::Text() { return kMessagingSchemaText; }

MessagingSchema::MessagingSchema() {
  // Once, before any thread parses.
  xmlInitParser();
  xmlSchemaParserCtxtPtr parser =
      xmlSchemaNewMemParserCtxt(kMessagingSchemaText, static_cast<int>(std::strlen(kMessagingSchemaText)));
  std::string error;
  if (parser != nullptr) {
    xmlSchemaSetParserStructuredErrors(parser, KeepFirstError, &error);
    schema = xmlSchemaParse(parser);
    xmlSchemaFreeParserCtxt(parser);
  }
  if (schema == nullptr) throw std::runtime_error("the built-in schema does not compile: " + error);
}

MessagingSchema::~MessagingSchema() { xmlSchemaFree(schema); }

bool MessagingSchema::Validate(xmlDocPtr doc, std::string& error) const {
  xmlSchemaValidCtxtPtr context = xmlSchemaNewValidCtxt(schema);
  if (context == nullptr) {
    error = "out of memory";
    return false;
  }
  std::string first;
  xmlSchemaSetValidStructuredErrors(context, KeepFirstError, &first);
  const int result = xmlSchemaValidateDoc(context, doc);
  xmlSchemaFreeValidCtxt(context);
  if (result == 0) return true;
  error = first.empty() ? "the batch does not match the schema" : first;
  return false;
}

}  // namespace collector
}  // namespace qz
