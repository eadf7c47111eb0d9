// Conversions between the library's UTF-16 text and UTF-8 bytes (network,
// stored files, the system log). Both directions replace what cannot be
// converted by U+FFFD instead of failing: a diagnostic or a batch with one odd
// character is still worth delivering.
#ifndef QZ_TYPES_UTF8_H
#define QZ_TYPES_UTF8_H

#include <cstdint>
#include <string>

#include "qz/StringBuf.h"

namespace qz {

// Appends count UTF-16 code units as UTF-8; a surrogate without its partner
// becomes U+FFFD. NUL code units are converted like any other.
void AppendUtf8(std::string& out, const QZChar* text, uint64_t count);

// The text up to its NUL (a null pointer gives an empty string).
std::string ToUtf8(const QZChar* text);
// All StrLen() code units, embedded NULs included.
std::string ToUtf8(const StringBuf& text);

// Appends count bytes of UTF-8 to out as UTF-16. Each ill-formed part (stray
// continuation byte, truncated or overlong sequence, encoded surrogate, value
// above U+10FFFF) becomes one U+FFFD; NUL bytes are appended as NUL characters.
void AppendFromUtf8(StringBuf& out, const char* bytes, uint64_t count);
inline void AppendFromUtf8(StringBuf& out, const std::string& bytes) {
  AppendFromUtf8(out, bytes.data(), bytes.size());
}

}  // namespace qz

#endif  // QZ_TYPES_UTF8_H
