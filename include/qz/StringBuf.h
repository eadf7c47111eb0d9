// StringBuf: the library's growable, always NUL-terminated UTF-16 string.
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

class QZ_API StringBuf {
 public:
  explicit StringBuf(uint64_t requestedCapacity = 32);
  StringBuf(const QZChar* text);  // NOLINT: implicit on purpose, a text converts to a string
  ~StringBuf();

  StringBuf& operator=(const StringBuf& other);
  StringBuf& operator=(const QZChar* text);

  StringBuf& Append(const StringBuf& other);
  StringBuf& Append(const StringBuf& other, uint64_t start, uint64_t count);
  StringBuf& Append(const QZChar* text);
  // Appends exactly count characters of text, NULs included.
  StringBuf& Append(const QZChar* text, uint64_t count);
  StringBuf& Append(QZChar c);
  StringBuf& Append(const char* narrow);
  StringBuf& Append(int32_t value, int32_t radix);
  StringBuf& Append(uint32_t value, int32_t radix);
  StringBuf& Append(uint64_t value, int32_t radix);
  StringBuf& Append(double value);

  uint64_t StrLen() const { return length; }
  const QZChar* ToString() const { return buffer; }
  operator const QZChar*() const { return buffer; }
  QZChar CharAt(uint64_t index) const;

  StringBuf& Clear();
  StringBuf& Trim();
  StringBuf& ToUpperCase();
  StringBuf& ToLowercase();
  bool StartsWith(const QZChar* prefix, uint64_t offset = 0) const;
  bool EndsWith(const QZChar* suffix) const;
  int64_t LastIndexOf(QZChar c);
  StringBuf& SubString(int64_t start, uint64_t count);
  StringBuf& SubString(int64_t start);

  // Storage facts, for callers that size their own work and for tests.
  uint64_t Capacity() const { return capacity; }
  uint64_t Growth() const { return growth; }

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
