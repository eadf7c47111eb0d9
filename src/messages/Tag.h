// Base of every XML element the library writes. Elements write themselves as
// text straight into a StringBuf; there is no document tree.
#ifndef QZ_MESSAGES_TAG_H
#define QZ_MESSAGES_TAG_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "qz/StringBuf.h"

namespace qz {

class Tag {
 public:
  // Writes "<name attrs/>" or "<name attrs>", children, "</name>", each line
  // ending in a single line feed.
  virtual StringBuf& WriteElement(StringBuf& out, const QZChar* name);
  // Each element writes itself (usually WriteElement with its name), or nothing.
  virtual StringBuf& Write(StringBuf& out) = 0;
  virtual ~Tag() = default;

  // XML-escapes text so that the result is 7-bit ASCII: the four markup
  // characters become entities, every code unit outside 32..126 a hex
  // character reference. Null or empty appends nothing.
  static void AppendEscaped(StringBuf& out, const QZChar* text);
  // How many characters AppendEscaped writes for text (not null).
  static uint64_t EscapedLength(const QZChar* text);

  // Characters before the terminator; 0 for null.
  static uint64_t TextLength(const QZChar* text) {
    return text != nullptr ? std::char_traits<QZChar>::length(text) : 0;
  }

  // A literal's characters, counted by the compiler rather than at run time.
  template <size_t N>
  static void AppendLiteral(StringBuf& out, const QZChar (&text)[N]) {
    out.Append(text, N - 1);
  }
  template <size_t N>
  static constexpr uint64_t LiteralLength(const QZChar (&)[N]) {
    return N - 1;
  }

 protected:
  Tag() = default;
  Tag(const Tag&) = delete;
  Tag& operator=(const Tag&) = delete;

  virtual void WriteAttributes(StringBuf& out);
  virtual bool HasChildren();
  virtual void WriteChildren(StringBuf& out);

  // Each appends ` name="value"`; names are written as given, texts escaped.
  static void WriteAttribute(StringBuf& out, const QZChar* name, int32_t value);
  static void WriteAttribute(StringBuf& out, const QZChar* name, uint32_t value);
  static void WriteAttribute(StringBuf& out, const QZChar* name, uint64_t value);
  static void WriteAttribute(StringBuf& out, const QZChar* name, bool value);
  static void WriteAttribute(StringBuf& out, const QZChar* name, const QZChar* value);
  static void WriteAttribute(StringBuf& out, const QZChar* name, const StringBuf& value);

  // Same, but only for values > 0 (signed), != 0 (unsigned) or non-empty texts.
  static void WriteOptionalAttribute(StringBuf& out, const QZChar* name, int32_t value);
  static void WriteOptionalAttribute(StringBuf& out, const QZChar* name, uint32_t value);
  static void WriteOptionalAttribute(StringBuf& out, const QZChar* name, uint64_t value);
  static void WriteOptionalAttribute(StringBuf& out, const QZChar* name, const QZChar* value);
  static void WriteOptionalAttribute(StringBuf& out, const QZChar* name,
                                     const StringBuf& value);
};

}  // namespace qz

#endif  // QZ_MESSAGES_TAG_H
