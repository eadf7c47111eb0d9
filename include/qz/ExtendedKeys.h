// ExtendedKeys: the named properties a host attaches to one event.
/// @file
/// Named properties of an event: qz::ExtendedKeys and qz::ExtendedKey.
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

/// One property of an ExtendedKeys. Only ExtendedKeys creates and destroys
/// these; hosts read them through ExtendedKeys::Get.
class QZ_API ExtendedKey {
 public:
  /// Keys are cut to this many characters.
  static constexpr uint64_t MAX_KEY_LENGTH = 2000;
  /// Text values are cut to this many characters.
  static constexpr uint64_t MAX_TEXT_LENGTH = 4000;

  /// @name Kinds of value
  ///@{

  /// What the value was given as: a text, or a number of one of four types
  /// (kept as its decimal text).
  static constexpr int32_t KIND_TEXT = 0;
  static constexpr int32_t KIND_INT = 1;
  static constexpr int32_t KIND_LONG = 2;
  static constexpr int32_t KIND_FLOAT = 3;
  static constexpr int32_t KIND_DOUBLE = 4;
  ///@}

  /// The key; valid while the property is in its ExtendedKeys.
  const QZChar* Key() const { return key.ToString(); }
  /// The value as text (numbers in decimal, float and double with six
  /// decimals); valid while the property is in its ExtendedKeys.
  const QZChar* Value() const { return value.ToString(); }
  /// Whether the value was given as a number.
  bool IsNumeric() const { return kind != KIND_TEXT; }
  /// One of the KIND_ constants.
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

/// The named properties a host attaches to one event, sent with it.
///
/// Kept sorted by key (unsigned 16-bit code units, case-sensitive); adding an
/// existing key replaces its property. Not synchronised; the library reads
/// it during the API call it is passed to. Add raises std::bad_alloc when
/// memory runs out, leaving the properties as they were (the flat
/// AddExtendedKeys functions catch it).
class QZ_API ExtendedKeys {
 public:
  /// No properties.
  ExtendedKeys();
  /// Frees every property.
  ~ExtendedKeys();

  /// Adds a text property. Ignored unless key and value are both non-empty.
  /// The key is cut to ExtendedKey::MAX_KEY_LENGTH characters, the value to
  /// ExtendedKey::MAX_TEXT_LENGTH.
  void Add(const QZChar* key, const QZChar* value);
  /// @name Numeric properties
  ///@{

  /// Adds a number, kept as decimal text (float and double with six
  /// decimals). Ignored only when the key is null or empty. long stays its
  /// own overload: 32 bits on Windows, 64 on Linux, written in full.
  void Add(const QZChar* key, int32_t value);
  void Add(const QZChar* key, long value);  // NOLINT(runtime/int)
  void Add(const QZChar* key, float value);
  void Add(const QZChar* key, double value);
  ///@}

  /// The number of properties.
  uint64_t Size() const { return count; }
  /// The property at this position in key order, or null when index >= Size().
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
