#include "qz/ExtendedKeys.h"

#include <cstring>
#include <new>

namespace qz {

namespace {

// Ordinal order of 16-bit code units; a prefix sorts before the longer key.
int CompareKeys(const StringBuf& a, const StringBuf& b) {
  const uint64_t na = a.StrLen();
  const uint64_t nb = b.StrLen();
  const QZChar* pa = a.ToString();
  const QZChar* pb = b.ToString();
  const uint64_t n = na < nb ? na : nb;
  for (uint64_t i = 0; i < n; ++i) {
    const uint16_t ca = static_cast<uint16_t>(pa[i]);
    const uint16_t cb = static_cast<uint16_t>(pb[i]);
    if (ca != cb) return ca < cb ? -1 : 1;
  }
  return na == nb ? 0 : (na < nb ? -1 : 1);
}

bool IsEmpty(const QZChar* text) { return text == nullptr || text[0] == 0; }

}  // namespace

ExtendedKeys::ExtendedKeys() : items(nullptr), count(0), capacity(0) {}

ExtendedKeys::~ExtendedKeys() {
  for (uint64_t i = 0; i < count; ++i) delete items[i];
  delete[] items;
}

void ExtendedKeys::Put(const QZChar* key, const QZChar* value, int32_t kind) {
  ExtendedKey* property = new ExtendedKey(key);
  try {
    property->value = value;
    if (property->value.StrLen() > ExtendedKey::MAX_TEXT_LENGTH) {
      property->value.SubString(0, ExtendedKey::MAX_TEXT_LENGTH);
    }
    property->kind = kind;
    Insert(property);
  } catch (...) {
    delete property;
    throw;
  }
}

void ExtendedKeys::Add(const QZChar* key, const QZChar* value) {
  if (IsEmpty(key) || IsEmpty(value)) return;
  Put(key, value, ExtendedKey::KIND_TEXT);
}

void ExtendedKeys::Add(const QZChar* key, int32_t value) {
  if (IsEmpty(key)) return;
  StringBuf text;
  text.Append(value, 10);
  Put(key, text, ExtendedKey::KIND_INT);
}

void ExtendedKeys::Add(const QZChar* key, long value) {  // NOLINT(runtime/int)
  if (IsEmpty(key)) return;
  // long is 64 bits on Linux: write the full value rather than a cut one.
  const int64_t wide = value;
  StringBuf text;
  if (wide < 0) {
    text.Append(static_cast<QZChar>('-'));
    text.Append(0 - static_cast<uint64_t>(wide), 10);
  } else {
    text.Append(static_cast<uint64_t>(wide), 10);
  }
  Put(key, text, ExtendedKey::KIND_LONG);
}

void ExtendedKeys::Add(const QZChar* key, float value) {
  if (IsEmpty(key)) return;
  StringBuf text;
  text.Append(static_cast<double>(value));
  Put(key, text, ExtendedKey::KIND_FLOAT);
}

void ExtendedKeys::Add(const QZChar* key, double value) {
  if (IsEmpty(key)) return;
  StringBuf text;
  text.Append(value);
  Put(key, text, ExtendedKey::KIND_DOUBLE);
}

const ExtendedKey* ExtendedKeys::Get(uint64_t index) const {
  return index < count ? items[index] : nullptr;
}

void ExtendedKeys::Insert(ExtendedKey* property) {
  // Binary search for the first key not below the new one.
  uint64_t low = 0;
  uint64_t high = count;
  while (low < high) {
    const uint64_t mid = low + (high - low) / 2;
    if (CompareKeys(items[mid]->key, property->key) < 0) {
      low = mid + 1;
    } else {
      high = mid;
    }
  }
  if (low < count && CompareKeys(items[low]->key, property->key) == 0) {
    delete items[low];
    items[low] = property;
    return;
  }
  if (count == capacity) {
    const uint64_t larger = capacity == 0 ? 8 : capacity * 2;
    ExtendedKey** grown = new ExtendedKey*[larger];
    if (count > 0) std::memcpy(grown, items, count * sizeof(ExtendedKey*));
    delete[] items;
    items = grown;
    capacity = larger;
  }
  std::memmove(items + low + 1, items + low, (count - low) * sizeof(ExtendedKey*));
  items[low] = property;
  ++count;
}

}  // namespace qz
