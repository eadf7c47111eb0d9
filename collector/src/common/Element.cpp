#include "common/Element.h"

#include <cstring>

namespace qz {
namespace collector {

const std::string* Element::Find(const char* attribute) const {
  for (const auto& a : attributes) {
    if (a.first == attribute) return &a.second;
  }
  return nullptr;
}

std::string Element::Get(const char* attribute) const {
  const std::string* value = Find(attribute);
  return value != nullptr ? *value : std::string();
}

const Element* Element::Child(const char* childName) const {
  for (const Element& c : children) {
    if (c.name == childName) return &c;
  }
  return nullptr;
}

}  // namespace collector
}  // namespace qz
