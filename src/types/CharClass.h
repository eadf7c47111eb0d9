// Character classification that depends on the operating system's tables.
#ifndef QZ_TYPES_CHARCLASS_H
#define QZ_TYPES_CHARCLASS_H

#include "qz/export.h"

namespace qz {

// White space among the characters from U+0100 to U+FFFE, as the system
// classifies it. Callers handle U+0000..U+00FF themselves; U+FFFF is never space.
bool IsPlatformSpace(QZChar c);

}  // namespace qz

#endif  // QZ_TYPES_CHARCLASS_H
