// PLACEHOLDER: minimal implementation so the tree links; being replaced.
#include "qz/StringBuf.h"

#include <cstring>
#include <string>

namespace qz {

StringBuf::StringBuf(uint64_t) : buffer(new QZChar[33]), capacity(33), length(0), growth(32) { buffer[0] = 0; }
StringBuf::StringBuf(const QZChar* text) : StringBuf(32) { Append(text); }
StringBuf::~StringBuf() { delete[] buffer; buffer = nullptr; }
StringBuf& StringBuf::operator=(const StringBuf& o) { if (&o != this) { Clear(); Append(o.buffer); } return *this; }
StringBuf& StringBuf::operator=(const QZChar* t) { if (t != buffer) { Clear(); Append(t); } return *this; }
StringBuf& StringBuf::Append(const StringBuf& o) { for (uint64_t i = 0; i < o.length; ++i) Append(o.buffer[i]); return *this; }
StringBuf& StringBuf::Append(const StringBuf& o, uint64_t s, uint64_t n) { for (uint64_t i = s; i < s + n && i < o.length; ++i) Append(o.buffer[i]); return *this; }
StringBuf& StringBuf::Append(const QZChar* t) { for (; t && *t; ++t) Append(*t); return *this; }
StringBuf& StringBuf::Append(QZChar c) {
  if (length + 2 > capacity) {
    QZChar* b = new QZChar[capacity * 2];
    std::memcpy(b, buffer, (length + 1) * sizeof(QZChar));
    delete[] buffer; buffer = b; capacity *= 2;
  }
  buffer[length++] = c; buffer[length] = 0; return *this;
}
StringBuf& StringBuf::Append(const char* t) { for (; t && *t; ++t) Append(static_cast<QZChar>(*t)); return *this; }
StringBuf& StringBuf::Append(int32_t v, int32_t) { return Append(std::to_string(v).c_str()); }
StringBuf& StringBuf::Append(uint32_t v, int32_t) { return Append(std::to_string(v).c_str()); }
StringBuf& StringBuf::Append(uint64_t v, int32_t) { return Append(std::to_string(v).c_str()); }
StringBuf& StringBuf::Append(double v) { return Append(std::to_string(v).c_str()); }
QZChar StringBuf::CharAt(uint64_t i) const { return i < length ? buffer[i] : 0; }
StringBuf& StringBuf::Clear() { length = 0; buffer[0] = 0; return *this; }
StringBuf& StringBuf::Trim() { return *this; }
StringBuf& StringBuf::ToUpperCase() { for (uint64_t i = 0; i < length; ++i) if (buffer[i] >= 'a' && buffer[i] <= 'z') buffer[i] -= 32; return *this; }
StringBuf& StringBuf::ToLowercase() { return *this; }
bool StringBuf::StartsWith(const QZChar*, uint64_t) const { return false; }
bool StringBuf::EndsWith(const QZChar*) const { return false; }
int64_t StringBuf::LastIndexOf(QZChar) { return -1; }
StringBuf& StringBuf::SubString(int64_t, uint64_t) { return *this; }
StringBuf& StringBuf::SubString(int64_t) { return *this; }

}  // namespace qz
