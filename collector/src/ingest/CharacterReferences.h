// The library writes every UTF-16 code unit outside 32..126 as a character
// reference of its own: a character outside the basic plane arrives as two
// surrogate references, and a control character as a reference that XML 1.0
// forbids. Prepare rewrites a body so that a conforming parser takes it:
// surrogate pairs are joined, and each forbidden code unit becomes a marker
// character followed by a placeholder in the supplementary private use area
// (the marker itself, when sent, is doubled). Restore turns placeholders in
// a parsed value back into the characters the host sent.
#ifndef QZ_COLLECTOR_CHARACTERREFERENCES_H
#define QZ_COLLECTOR_CHARACTERREFERENCES_H

#include <cstdint>
#include <string>

namespace qz {
namespace collector {

class CharacterReferences {
 public:
  // False, with the reason, for a reference that no text can hold (U+0000).
  // A lone surrogate cannot be stored as UTF-8 and becomes U+FFFD.
  static bool Prepare(const std::string& body, std::string& out, std::string& error);
  // Undoes the placeholders of Prepare in one parsed text (UTF-8), in place.
  static void Restore(std::string& text);
  // One code point (not a surrogate) as UTF-8.
  static void AppendUtf8(std::string& out, uint32_t c);
};

}  // namespace collector
}  // namespace qz

#endif  // QZ_COLLECTOR_CHARACTERREFERENCES_H
