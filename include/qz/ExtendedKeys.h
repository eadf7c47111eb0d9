// ExtendedKeys: the named properties a host attaches to one event.
#ifndef QZ_EXTENDEDKEYS_H
#define QZ_EXTENDEDKEYS_H

#include "qz/export.h"

#if defined(QZ_USE_FLAT_ABI)
// Compilers that cannot call the exported classes get the same ones inline.
#include "qz/qz_inline.h"
#else

#include <cstdint>

#include "qz/StringBuf.h"

namespace qz {

class ExtendedKeys;

// One property. Only ExtendedKeys creates and destroys these; hosts read them.
class QZ_API ExtendedKey {
 public:
  static constexpr uint64_t MAX_KEY_LENGTH = 2000;
  static constexpr uint64_t MAX_TEXT_LENGTH = 4000;

  static constexpr int32_t KIND_TEXT = 0;
  static constexpr int32_t KIND_INT = 1;
  static constexpr int32_t KIND_LONG = 2;
  static constexpr int32_t KIND_FLOAT = 3;
  static constexpr int32_t KIND_DOUBLE = 4;

  const QZChar* Key() const { return key.ToString(); }
  const QZChar* Value() const { return value.ToString(); }
  bool IsNumeric() const { return kind != KIND_TEXT; }
  int32_t GetKind() const { return kind; }

 private:
  friend class ExtendedKeys;

  // The key is cut to MAX_KEY_LENGTH; the caller fills value and kind.
  explicit ExtendedKey(const QZChar* keyText);
  ~ExtendedKey();
  ExtendedKey(const ExtendedKey&) = delete;
  ExtendedKey& operator=(const ExtendedKey&) = delete;

  StringBuf key;
  StringBuf value;
  int32_t kind;
};

// Properties kept sorted by key (unsigned 16-bit code units, case-sensitive);
// adding an existing key replaces its property.
class QZ_API ExtendedKeys {
 public:
  ExtendedKeys();
  ~ExtendedKeys();

  // Ignored unless key and value are both non-empty. The value is cut to 4000 characters.
  void Add(const QZChar* key, const QZChar* value);
  // Numbers are ignored only when the key is empty.
  void Add(const QZChar* key, int32_t value);
  // long stays its own overload: 32 bits on Windows, the platform's long elsewhere.
  void Add(const QZChar* key, long value);  // NOLINT(runtime/int)
  void Add(const QZChar* key, float value);
  void Add(const QZChar* key, double value);

  uint64_t Size() const { return count; }
  // Property at this position in key order, or null when index >= Size().
  const ExtendedKey* Get(uint64_t index) const;

 private:
  ExtendedKeys(const ExtendedKeys&) = delete;
  ExtendedKeys& operator=(const ExtendedKeys&) = delete;

  // Builds the property (key and value cut to their limits) and inserts it.
  void Put(const QZChar* key, const QZChar* value, int32_t kind);
  // Takes ownership of property and replaces any property with the same key.
  void Insert(ExtendedKey* property);

  // A sorted array of owned pointers: cheap to fill per event, Get is direct.
  ExtendedKey** items;
  uint64_t count;
  uint64_t capacity;
};

}  // namespace qz

#endif  // QZ_USE_FLAT_ABI

#endif  // QZ_EXTENDEDKEYS_H
