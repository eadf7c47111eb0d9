#include "types/Guid.h"

namespace qz {
namespace {

bool IsHexDigit(QZChar c) {
  return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f');
}

}  // namespace

bool IsValidGUID(const QZChar* text) {
  if (text == nullptr) return false;
  // Look at no more than one character past the end of a GUID, so an
  // unterminated or huge buffer costs nothing.
  int length = 0;
  while (length < 37 && text[length] != 0) ++length;
  if (length != 36) return false;
  for (int i = 0; i < 36; ++i) {
    const bool dash = i == 8 || i == 13 || i == 18 || i == 23;
    if (dash ? text[i] != '-' : !IsHexDigit(text[i])) return false;
  }
  return true;
}

}  // namespace qz
