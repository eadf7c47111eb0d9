#include "messages/Message.h"

#include "messages/BinaryTag.h"
#include "messages/PropertyLines.h"
#include "platform/Platform.h"

namespace qz {

namespace {

constexpr uint64_t kGuidLength = 36;
constexpr uint64_t kTimeLength = 24;

// Room for everything the constructor writes, each text with its NUL; exact
// unless a text needs escaping.
uint64_t Measure(uint64_t sessionLength, const BinaryInfo* info, const ExtendedKeys* keys,
                 uint64_t ownLength) {
  return kGuidLength + kTimeLength + sessionLength + ownLength + 5 +
         BinaryTag::ElementLength(info) + PropertyLinesLength(keys);
}

// length characters of text in upper case, as StringBuf::ToUpperCase makes
// it, and a terminator, appended without a copy of their own.
void AppendUpperCase(StringBuf& out, const QZChar* text, uint64_t length) {
  constexpr uint64_t kChunk = 64;
  QZChar chunk[kChunk + 1];
  uint64_t done = 0;
  do {
    const uint64_t n = length - done < kChunk ? length - done : kChunk;
    for (uint64_t i = 0; i < n; ++i) {
      const QZChar c = text[done + i];
      chunk[i] = static_cast<uint16_t>(c - 'a') < 26 ? static_cast<QZChar>(c - ('a' - 'A')) : c;
    }
    done += n;
    // The terminator goes with the last piece.
    const bool last = done == length;
    chunk[n] = 0;
    out.Append(chunk, last ? n + 1 : n);
  } while (done < length);
}

// A text and its terminator (an empty text for null).
void AppendWithTerminator(StringBuf& out, const QZChar* text, uint64_t length) {
  static const QZChar kEmpty[] = {0};
  out.Append(text != nullptr ? text : kEmpty, length + 1);
}

}  // namespace

Message::Message(const QZChar* session, const BinaryInfo* info, const ExtendedKeys* keys,
                 const QZChar* ownFirst, const QZChar* ownSecond)
    : Message(session, TextLength(session), info, keys, ownFirst, TextLength(ownFirst),
              ownSecond, TextLength(ownSecond)) {}

Message::Message(const QZChar* session, uint64_t sessionLength, const BinaryInfo* info,
                 const ExtendedKeys* keys, const QZChar* ownFirst, uint64_t firstLength,
                 const QZChar* ownSecond, uint64_t secondLength)
    : text(Measure(sessionLength, info, keys, firstLength + secondLength)) {
  // The id goes first: NewGUID replaces the text it is given.
  Platform::NewGUID(text);
  text.Append(QZChar(0));
  generatedAt = text.StrLen();
  Platform::AppendTimeString(text);
  text.Append(QZChar(0));
  sessionAt = text.StrLen();
  AppendUpperCase(text, session, sessionLength);
  ownAt[0] = text.StrLen();
  AppendWithTerminator(text, ownFirst, firstLength);
  ownAt[1] = text.StrLen();
  AppendWithTerminator(text, ownSecond, secondLength);
  childrenAt = text.StrLen();
  BinaryTag::AppendElement(text, info);
  AppendPropertyLines(text, keys);
}

Message::~Message() = default;

void Message::WriteAttributes(StringBuf& out) {
  WriteAttribute(out, QZ_TEXT("generated"), GetGenerated());
  WriteAttribute(out, QZ_TEXT("id"), GetID());
  WriteAttribute(out, QZ_TEXT("session"), GetSessionID());
}

bool Message::HasChildren() { return text.StrLen() > childrenAt; }

void Message::WriteChildren(StringBuf& out) {
  out.Append(text, childrenAt, text.StrLen() - childrenAt);
}

}  // namespace qz
