#include "types/CharClass.h"

#include <cstdint>

namespace qz {

// The Unicode White_Space characters above U+00FF. The C library's iswspace
// depends on the locale and on wchar_t being 32 bits, so the set is spelled out.
bool IsPlatformSpace(QZChar c) {
  switch (static_cast<uint16_t>(c)) {
    case 0x1680:
    case 0x2028:
    case 0x2029:
    case 0x202F:
    case 0x205F:
    case 0x3000:
      return true;
    default:
      return c >= 0x2000 && c <= 0x200A;
  }
}

}  // namespace qz
