// The one test of GUID text that every part of the library uses.
#ifndef QZ_TYPES_GUID_H
#define QZ_TYPES_GUID_H

#include "qz/export.h"

namespace qz {

// True for exactly 36 characters in 8-4-4-4-12 hexadecimal groups joined by
// "-", either case, no braces or spaces.
bool IsValidGUID(const QZChar* text);

}  // namespace qz

#endif  // QZ_TYPES_GUID_H
