#include "support/TestText.h"

namespace qz {
namespace test {

QZString W(const char* text) {
  QZString out;
  for (const char* p = text; *p != 0; ++p) out.push_back(static_cast<QZChar>(static_cast<unsigned char>(*p)));
  return out;
}

std::string U8(const QZChar* text) {
  std::string out;
  if (text == nullptr) return "(null)";
  for (const QZChar* p = text; *p != 0; ++p) {
    uint32_t c = static_cast<uint16_t>(*p);
    if (c >= 0xD800 && c <= 0xDBFF && p[1] >= 0xDC00 && p[1] <= 0xDFFF) {
      c = 0x10000 + ((c - 0xD800) << 10) + (static_cast<uint16_t>(p[1]) - 0xDC00);
      ++p;
    } else if (c >= 0xD800 && c <= 0xDFFF) {
      c = '?';
    }
    if (c < 0x80) {
      out.push_back(static_cast<char>(c));
    } else if (c < 0x800) {
      out.push_back(static_cast<char>(0xC0 | (c >> 6)));
      out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
    } else if (c < 0x10000) {
      out.push_back(static_cast<char>(0xE0 | (c >> 12)));
      out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
    } else {
      out.push_back(static_cast<char>(0xF0 | (c >> 18)));
      out.push_back(static_cast<char>(0x80 | ((c >> 12) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
    }
  }
  return out;
}

}  // namespace test
}  // namespace qz
