// StringBuf: the library's growable, always NUL-terminated UTF-16 string.
/// @file
/// The library's string: qz::StringBuf.
#ifndef QZ_STRINGBUF_H
#define QZ_STRINGBUF_H

#include "qz/export.h"

#if defined(QZ_USE_FLAT_ABI)
// Compilers that cannot call the exported classes get the same ones inline.
#include "qz/qz_inline.h"
#else

#include <cstdint>

namespace qz {

class Tag;

/// A growable UTF-16 string, always NUL-terminated; the type of every text
/// field of the value classes.
///
/// Not synchronised. Operations that need memory raise std::bad_alloc as the
/// standard containers do and then leave the string as it was. Null texts are
/// taken as empty. Operations given out-of-range positions change nothing.
/// The text returned by ToString stays valid until the string changes.
class QZ_API StringBuf {
 public:
  /// An empty string with room for requestedCapacity characters; the
  /// capacity (16 to 512) is also the first step by which it grows.
  explicit StringBuf(uint64_t requestedCapacity = 32);
  /// A copy of text (empty when null).
  StringBuf(const QZChar* text);  // NOLINT: implicit on purpose, a text converts to a string
  /// Frees the buffer.
  ~StringBuf();

  /// @name Assigning
  ///@{

  /// Replaces the contents with a copy of other (or of text; null empties).
  StringBuf& operator=(const StringBuf& other);
  StringBuf& operator=(const QZChar* text);
  ///@}

  /// @name Appending
  ///@{

  /// Appends a text: another string (whole, or count characters from start,
  /// ignored when that range is not inside it), a NUL-terminated text, one
  /// character or 8-bit text (bytes above 0x7F taken as Latin-1). Returns
  /// this string. Appending a string to itself works.
  StringBuf& Append(const StringBuf& other);
  StringBuf& Append(const StringBuf& other, uint64_t start, uint64_t count);
  StringBuf& Append(const QZChar* text);
  StringBuf& Append(QZChar c);
  StringBuf& Append(const char* narrow);
  ///@}

  /// Appends exactly count characters of text, NULs included.
  StringBuf& Append(const QZChar* text, uint64_t count);

  /// @name Appending numbers
  ///@{

  /// Appends an integer in radix 2 to 36 (others are clamped to that range;
  /// a negative radix counts as 36), lower-case digits, a minus sign for
  /// negative signed values.
  StringBuf& Append(int32_t value, int32_t radix);
  StringBuf& Append(uint32_t value, int32_t radix);
  StringBuf& Append(uint64_t value, int32_t radix);
  ///@}

  /// Appends a number in fixed notation with six decimals ("%.6f").
  StringBuf& Append(double value);

  /// @name Reading
  ///@{

  /// The number of characters, without the terminating NUL.
  uint64_t StrLen() const { return length; }
  ///@}
  /// The text, NUL-terminated; never null.
  const QZChar* ToString() const { return buffer; }
  /// The text, as ToString.
  operator const QZChar*() const { return buffer; }
  /// The character at index, or 0 beyond the end.
  QZChar CharAt(uint64_t index) const;

  /// Empties the string; keeps its buffer.
  StringBuf& Clear();
  /// Removes white space (the system's idea of it, with U+00A0) at both ends.
  StringBuf& Trim();
  /// @name Case
  ///@{

  /// Changes the case of the ASCII letters; every other character stays.
  StringBuf& ToUpperCase();
  StringBuf& ToLowercase();
  ///@}
  /// Whether prefix occurs at offset. An empty or null prefix gives false.
  bool StartsWith(const QZChar* prefix, uint64_t offset = 0) const;
  /// Whether the string ends with suffix. An empty or null suffix gives false.
  bool EndsWith(const QZChar* suffix) const;
  /// Position of the last c, or -1 when there is none (or c is 0).
  int64_t LastIndexOf(QZChar c);
  /// @name Cutting
  ///@{

  /// Keeps count characters from start (or everything from start). A
  /// negative start or a range that is not inside the string changes nothing.
  StringBuf& SubString(int64_t start, uint64_t count);
  StringBuf& SubString(int64_t start);
  ///@}

  /// @name Storage facts
  ///@{

  /// Characters the buffer holds without growing, and the next step it
  /// grows by: for callers that size their own work, and for tests.
  uint64_t Capacity() const { return capacity; }
  uint64_t Growth() const { return growth; }
  ///@}

 private:
  // No copy constructor on purpose: copies are made by assignment.
  StringBuf(const StringBuf&) = delete;

  // Appends n characters by the growth rule; source may lie in this buffer.
  void AppendChars(const QZChar* source, uint64_t n);
  // AppendChars when the characters do not fit.
  void GrowAndAppend(const QZChar* source, uint64_t n);
  // Room for n more characters (and growth beyond) in one enlargement. The
  // escaping writer and the batch writer use it: an escaped text can be eight
  // times as long as its source, a batch runs to megabytes, and growing 512
  // characters at a time would copy either over and over.
  void Reserve(uint64_t n);
  friend class Tag;
  friend class TransmitterThread;

  QZChar* buffer;
  uint64_t capacity;
  uint64_t length;
  uint64_t growth;
};

}  // namespace qz

#endif  // QZ_USE_FLAT_ABI

#endif  // QZ_STRINGBUF_H
