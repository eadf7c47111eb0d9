// One element of a received batch after parsing and validation: its name, its
// attributes in document order (texts exactly as the host sent them, UTF-8)
// and its child elements. Batches carry everything in attributes, so there is
// no text content.
#ifndef QZ_COLLECTOR_ELEMENT_H
#define QZ_COLLECTOR_ELEMENT_H

#include <string>
#include <utility>
#include <vector>

namespace qz {
namespace collector {

struct Element {
  std::string name;
  std::vector<std::pair<std::string, std::string>> attributes;
  std::vector<Element> children;

  // The attribute's value, or null when the element does not have it.
  const std::string* Find(const char* attribute) const;
  // The attribute's value, or empty.
  std::string Get(const char* attribute) const;
  bool Has(const char* attribute) const { return Find(attribute) != nullptr; }
  // The first child of that name, or null.
  const Element* Child(const char* childName) const;

  bool operator==(const Element& other) const {
    return name == other.name && attributes == other.attributes && children == other.children;
  }
};

}  // namespace collector
}  // namespace qz

#endif  // QZ_COLLECTOR_ELEMENT_H
