#include "qz/ExtendedKeys.h"

namespace qz {

ExtendedKey::ExtendedKey(const QZChar* keyText) : key(keyText), value(), kind(KIND_TEXT) {
  // Keys that agree in their first MAX_KEY_LENGTH characters are one key.
  if (key.StrLen() > MAX_KEY_LENGTH) key.SubString(0, MAX_KEY_LENGTH);
}

ExtendedKey::~ExtendedKey() = default;

}  // namespace qz
