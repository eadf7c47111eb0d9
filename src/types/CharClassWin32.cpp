#include "types/CharClass.h"

#include <windows.h>

namespace qz {

bool IsPlatformSpace(QZChar c) {
  if (c < 0x100 || c == 0xFFFF) return false;
  WORD type = 0;
  if (!GetStringTypeW(CT_CTYPE1, &c, 1, &type)) return false;
  return (type & C1_SPACE) != 0;
}

}  // namespace qz
