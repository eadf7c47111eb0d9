#include "messages/Tag.h"

namespace qz {

StringBuf& Tag::WriteElement(StringBuf& out, const QZChar* name) {
  out.Append(QZChar('<')).Append(name);
  WriteAttributes(out);
  if (HasChildren()) {
    AppendLiteral(out, QZ_TEXT(">\n"));
    WriteChildren(out);
    AppendLiteral(out, QZ_TEXT("</"));
    out.Append(name);
    AppendLiteral(out, QZ_TEXT(">\n"));
  } else {
    AppendLiteral(out, QZ_TEXT("/>\n"));
  }
  return out;
}

void Tag::WriteAttributes(StringBuf&) {}

bool Tag::HasChildren() { return false; }

void Tag::WriteChildren(StringBuf&) {}

namespace {

// The characters written as they are: 32 to 126 but for the four of markup.
struct PlainTable {
  constexpr PlainTable() : plain() {
    for (int c = 32; c <= 126; ++c) plain[c] = c != '"' && c != '&' && c != '<' && c != '>';
  }
  bool plain[128];
};
constexpr PlainTable kPlainTable;
constexpr const bool* kPlain = kPlainTable.plain;

}  // namespace

uint64_t Tag::EscapedLength(const QZChar* text) {
  uint64_t length = 0;
  for (const QZChar* p = text; *p != 0; ++p) {
    const uint32_t c = static_cast<uint16_t>(*p);
    if (c < 128 && kPlain[c]) {
      ++length;
    } else if (c == '"') {
      length += 6;
    } else if (c == '&') {
      length += 5;
    } else if (c == '<' || c == '>') {
      length += 4;
    } else {
      // "&#x", one to four digits, ";"
      length += 4 + (c >= 0x1000 ? 4 : c >= 0x100 ? 3 : c >= 0x10 ? 2 : 1);
    }
  }
  return length;
}

void Tag::AppendEscaped(StringBuf& out, const QZChar* text) {
  if (text == nullptr) return;
  // Plain characters go out in runs, one copy each; only the rest is spelt.
  const QZChar* run = text;
  bool reserved = false;
  for (const QZChar* p = text;; ++p) {
    uint32_t c = static_cast<uint16_t>(*p);
    while (c < 128 && kPlain[c]) c = static_cast<uint16_t>(*++p);
    if (p != run) out.Append(run, static_cast<uint64_t>(p - run));
    if (c == 0) return;
    // At the first character to spell, the rest is measured once and room
    // made for all of it.
    if (!reserved) {
      out.Reserve(EscapedLength(p));
      reserved = true;
    }
    run = p + 1;
    switch (c) {
      case '"': AppendLiteral(out, QZ_TEXT("&quot;")); continue;
      case '&': AppendLiteral(out, QZ_TEXT("&amp;")); continue;
      case '<': AppendLiteral(out, QZ_TEXT("&lt;")); continue;
      case '>': AppendLiteral(out, QZ_TEXT("&gt;")); continue;
      default: break;
    }
    // Every code unit on its own, surrogates included, keeps the output 7-bit.
    static const char kHex[] = "0123456789abcdef";
    QZChar reference[8] = {'&', '#', 'x'};
    int n = 3;
    for (int shift = 12; shift >= 0; shift -= 4) {
      const uint32_t digit = (c >> shift) & 0xF;
      if (digit != 0 || n > 3 || shift == 0) reference[n++] = static_cast<QZChar>(kHex[digit]);
    }
    reference[n++] = ';';
    out.Append(reference, static_cast<uint64_t>(n));
  }
}

namespace {

// ` name="`; the caller appends the value and the closing quote.
StringBuf& OpenAttribute(StringBuf& out, const QZChar* name) {
  out.Append(QZChar(' ')).Append(name);
  Tag::AppendLiteral(out, QZ_TEXT("=\""));
  return out;
}

}  // namespace

void Tag::WriteAttribute(StringBuf& out, const QZChar* name, int32_t value) {
  OpenAttribute(out, name).Append(value, 10).Append(QZChar('"'));
}

void Tag::WriteAttribute(StringBuf& out, const QZChar* name, uint32_t value) {
  OpenAttribute(out, name).Append(value, 10).Append(QZChar('"'));
}

void Tag::WriteAttribute(StringBuf& out, const QZChar* name, uint64_t value) {
  OpenAttribute(out, name).Append(value, 10).Append(QZChar('"'));
}

void Tag::WriteAttribute(StringBuf& out, const QZChar* name, bool value) {
  OpenAttribute(out, name).Append(value ? QZ_TEXT("true") : QZ_TEXT("false")).Append(QZChar('"'));
}

void Tag::WriteAttribute(StringBuf& out, const QZChar* name, const QZChar* value) {
  OpenAttribute(out, name);
  AppendEscaped(out, value);
  out.Append(QZChar('"'));
}

void Tag::WriteAttribute(StringBuf& out, const QZChar* name, const StringBuf& value) {
  WriteAttribute(out, name, value.ToString());
}

void Tag::WriteOptionalAttribute(StringBuf& out, const QZChar* name, int32_t value) {
  if (value > 0) WriteAttribute(out, name, value);
}

void Tag::WriteOptionalAttribute(StringBuf& out, const QZChar* name, uint32_t value) {
  if (value != 0) WriteAttribute(out, name, value);
}

void Tag::WriteOptionalAttribute(StringBuf& out, const QZChar* name, uint64_t value) {
  if (value != 0) WriteAttribute(out, name, value);
}

void Tag::WriteOptionalAttribute(StringBuf& out, const QZChar* name, const QZChar* value) {
  if (value != nullptr && *value != 0) WriteAttribute(out, name, value);
}

void Tag::WriteOptionalAttribute(StringBuf& out, const QZChar* name, const StringBuf& value) {
  if (value.StrLen() != 0) WriteAttribute(out, name, value.ToString());
}

}  // namespace qz
