#include "ingest/BatchParser.h"

#include <libxml/parser.h>
#include <libxml/tree.h>

#include <memory>

#include "common/TimeText.h"
#include "ingest/BatchScanner.h"
#include "ingest/CharacterReferences.h"

namespace qz {
namespace collector {

namespace {

// A batch never needs a DTD, the network or entity substitution; errors are
// collected from the context rather than printed. Small texts are kept inside
// their nodes (fewer allocations).
constexpr int kParseOptions = XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING | XML_PARSE_COMPACT;

std::string Text(const xmlChar* text) {
  return text != nullptr ? std::string(reinterpret_cast<const char*>(text)) : std::string();
}

void Copy(xmlDocPtr doc, xmlNodePtr node, Element& out) {
  out.name = Text(node->name);
  size_t count = 0;
  for (xmlAttrPtr a = node->properties; a != nullptr; a = a->next) ++count;
  out.attributes.reserve(count);
  for (xmlAttrPtr a = node->properties; a != nullptr; a = a->next) {
    if (a->ns != nullptr) continue;  // xsi:noNamespaceSchemaLocation and the like
    std::string value;
    if (a->children != nullptr && a->children->type == XML_TEXT_NODE && a->children->next == nullptr) {
      value = Text(a->children->content);
    } else {
      xmlChar* joined = xmlNodeListGetString(doc, a->children, 1);
      value = Text(joined);
      xmlFree(joined);
    }
    CharacterReferences::Restore(value);
    out.attributes.emplace_back(Text(a->name), std::move(value));
  }
  for (xmlNodePtr child = node->children; child != nullptr; child = child->next) {
    if (child->type != XML_ELEMENT_NODE) continue;
    out.children.emplace_back();
    Copy(doc, child, out.children.back());
  }
}

// The schema's patterns let "9999-99-99" through: every time must also be a
// real one, or the stores and reports would hold what no clock can show.
bool TimesAreReal(const Element& e, std::string& error) {
  for (const auto& a : e.attributes) {
    int64_t millis;
    const bool utc = a.first == "generated" || a.first == "modified" || a.first == "sent";
    if ((utc && !TimeText::ToMillis(a.second, millis)) ||
        (a.first == "installed-date" && !TimeText::IsZonedTime(a.second))) {
      error = "element '" + e.name + "', attribute '" + a.first + "': '" + a.second + "' is not a real time";
      return false;
    }
  }
  for (const Element& child : e.children) {
    if (!TimesAreReal(child, error)) return false;
  }
  return true;
}

}  // namespace

bool BatchParser::Parse(const std::string& body, Element& root, std::string& error) const {
  return BatchScanner::Scan(body, root) || ParseFully(body, root, error);
}

bool BatchParser::ParseFully(const std::string& body, Element& root, std::string& error) const {
  std::string prepared;
  if (!CharacterReferences::Prepare(body, prepared, error)) return false;

  std::unique_ptr<xmlParserCtxt, void (*)(xmlParserCtxtPtr)> parser(xmlNewParserCtxt(),
                                                                     xmlFreeParserCtxt);
  if (!parser) {
    error = "out of memory";
    return false;
  }
  std::unique_ptr<xmlDoc, void (*)(xmlDocPtr)> doc(
      xmlCtxtReadMemory(parser.get(), prepared.data(), static_cast<int>(prepared.size()),
                        "batch.xml", "UTF-8", kParseOptions),
      xmlFreeDoc);
  if (!doc) {
    xmlErrorPtr last = xmlCtxtGetLastError(parser.get());
    error = "not well-formed XML";
    if (last != nullptr && last->message != nullptr) {
      error += " (line " + std::to_string(last->line) + ": " + Text(reinterpret_cast<const xmlChar*>(last->message));
      while (!error.empty() && (error.back() == '\n' || error.back() == ' ')) error.pop_back();
      error += ")";
    }
    return false;
  }
  if (doc->intSubset != nullptr || doc->extSubset != nullptr) {
    error = "a document type declaration is not allowed";
    return false;
  }
  if (!schema.Validate(doc.get(), error)) return false;
  root = Element();
  Copy(doc.get(), xmlDocGetRootElement(doc.get()), root);
  return TimesAreReal(root, error);
}

}  // namespace collector
}  // namespace qz
