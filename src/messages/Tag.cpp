#include "messages/Tag.h"

namespace qz {

StringBuf& Tag::WriteElement(StringBuf& out, const QZChar* name) {
  out.Append(QZChar('<')).Append(name);
  WriteAttributes(out);
  if (HasChildren()) {
    out.Append(QZ_TEXT(">\n"));
    WriteChildren(out);
    out.Append(QZ_TEXT("</")).Append(name).Append(QZ_TEXT(">\n"));
  } else {
    out.Append(QZ_TEXT("/>\n"));
  }
  return out;
}

void Tag::WriteAttributes(StringBuf&) {}

bool Tag::HasChildren() { return false; }

void Tag::WriteChildren(StringBuf&) {}

void Tag::AppendEscaped(StringBuf& out, const QZChar* text) {
  if (text == nullptr) return;
  static const char kHex[] = "0123456789abcdef";
  for (; *text != 0; ++text) {
    const uint32_t c = static_cast<uint16_t>(*text);
    switch (c) {
      case '"': out.Append(QZ_TEXT("&quot;")); continue;
      case '&': out.Append(QZ_TEXT("&amp;")); continue;
      case '<': out.Append(QZ_TEXT("&lt;")); continue;
      case '>': out.Append(QZ_TEXT("&gt;")); continue;
      default: break;
    }
    if (c >= 32 && c <= 126) {
      out.Append(static_cast<QZChar>(c));
      continue;
    }
    // Every code unit on its own, surrogates included, keeps the output 7-bit.
    out.Append(QZ_TEXT("&#x"));
    bool started = false;
    for (int shift = 12; shift >= 0; shift -= 4) {
      const uint32_t digit = (c >> shift) & 0xF;
      if (digit != 0 || started || shift == 0) {
        out.Append(static_cast<QZChar>(kHex[digit]));
        started = true;
      }
    }
    out.Append(QZChar(';'));
  }
}

namespace {

// ` name="`; the caller appends the value and the closing quote.
StringBuf& OpenAttribute(StringBuf& out, const QZChar* name) {
  return out.Append(QZChar(' ')).Append(name).Append(QZ_TEXT("=\""));
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
