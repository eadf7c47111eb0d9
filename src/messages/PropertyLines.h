// Renders a caller's extended keys as "property" lines, once, when a message
// is built, so the caller's object is never needed afterwards.
#ifndef QZ_MESSAGES_PROPERTYLINES_H
#define QZ_MESSAGES_PROPERTYLINES_H

#include "qz/StringBuf.h"

namespace qz {

class ExtendedKeys;

// Appends one self-closing property line per key, in key order. Null or an
// empty set appends nothing.
void AppendPropertyLines(StringBuf& out, const ExtendedKeys* keys);
// The characters AppendPropertyLines writes, when no text needs escaping.
uint64_t PropertyLinesLength(const ExtendedKeys* keys);

}  // namespace qz

#endif  // QZ_MESSAGES_PROPERTYLINES_H
