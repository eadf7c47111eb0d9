#include "common/Element.h"

#include <string_view>

namespace qz {
namespace collector {

const std::string* Element::Find(const char* attribute) const {
  const std::string_view name(attribute);
  for (const auto& a : attributes) {
    if (a.first == name) return &a.second;
  }
  return nullptr;
}

std::string Element::Get(const char* attribute) const {
  const std::string* value = Find(attribute);
  return value != nullptr ? *value : std::string();
}

const Element* Element::Child(const char* childName) const {
  const std::string_view name(childName);
  for (const Element& c : children) {
    if (c.name == name) return &c;
  }
  return nullptr;
}

}  // namespace collector
}  // namespace qz
