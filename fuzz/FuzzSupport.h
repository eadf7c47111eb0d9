// Shared by the fuzz targets: a check that stops the run with a reason, the
// way texts are drawn from the input, and the reading back of escaped text.
#ifndef QZ_FUZZ_FUZZSUPPORT_H
#define QZ_FUZZ_FUZZSUPPORT_H

#include <fuzzer/FuzzedDataProvider.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "qz/export.h"

// A broken property is a finding: report it and end the run as a crash would.
#define QZ_FUZZ_CHECK(condition)                                                       \
  do {                                                                                 \
    if (!(condition)) {                                                                \
      std::fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #condition); \
      std::abort();                                                                    \
    }                                                                                  \
  } while (0)

namespace qz {
namespace fuzz {

using Text = std::u16string;

// Any 16-bit units (NULs, lone surrogates and all), usually short; about one
// text in hugeOneIn repeats its units into a text far longer than the input,
// past the length limits of the library.
inline Text ConsumeText(FuzzedDataProvider& data, int hugeOneIn = 128) {
  const size_t length = data.ConsumeIntegralInRange<size_t>(0, 48);
  Text text;
  for (size_t i = 0; i < length && data.remaining_bytes() > 0; ++i) {
    text.push_back(static_cast<char16_t>(data.ConsumeIntegral<uint16_t>()));
  }
  // (An exhausted input yields the smallest values, so rare cases take others.)
  if (!text.empty() && data.ConsumeIntegralInRange<int>(1, hugeOneIn) == hugeOneIn) {
    // Around and past the limits of keys (2000) and values (4000).
    const size_t target = data.ConsumeIntegralInRange<size_t>(1990, 4100);
    Text huge;
    while (huge.size() < target) huge += text;
    text.swap(huge);
  }
  return text;
}

// The text as a host passes it: always terminated within its buffer.
inline const QZChar* Terminated(const Text& text) {
  return reinterpret_cast<const QZChar*>(text.c_str());
}

// The units a NUL-terminated text holds: up to the first NUL.
inline Text UpToNul(const Text& text) { return text.substr(0, text.find(u'\0')); }

// Reads back text that the library escaped: the four entities and hexadecimal
// character references, every unit 7-bit and none of < > " & left bare.
// False for anything else.
inline bool Unescape(const Text& escaped, Text& out) {
  out.clear();
  for (size_t i = 0; i < escaped.size(); ++i) {
    const char16_t c = escaped[i];
    if (c < 32 || c > 126 || c == u'<' || c == u'>' || c == u'"') return false;
    if (c != u'&') {
      out.push_back(c);
      continue;
    }
    const size_t end = escaped.find(u';', i);
    if (end == Text::npos) return false;
    const Text entity = escaped.substr(i + 1, end - i - 1);
    i = end;
    if (entity == u"quot") {
      out.push_back(u'"');
    } else if (entity == u"amp") {
      out.push_back(u'&');
    } else if (entity == u"lt") {
      out.push_back(u'<');
    } else if (entity == u"gt") {
      out.push_back(u'>');
    } else if (entity.size() >= 3 && entity.size() <= 6 && entity.compare(0, 2, u"#x") == 0) {
      uint32_t value = 0;
      for (size_t k = 2; k < entity.size(); ++k) {
        const char16_t d = entity[k];
        // Lower-case digits without leading zeros: one spelling per unit.
        if (d >= u'0' && d <= u'9') {
          value = value * 16 + (d - u'0');
        } else if (d >= u'a' && d <= u'f') {
          value = value * 16 + (d - u'a' + 10);
        } else {
          return false;
        }
      }
      if (entity[2] == u'0' && entity.size() > 3) return false;
      // Only units that cannot stand for themselves are written this way.
      if (value >= 32 && value <= 126) return false;
      out.push_back(static_cast<char16_t>(value));
    } else {
      return false;
    }
  }
  return true;
}

// An independent reading of RFC 3629: true for well-formed UTF-8 only.
inline bool IsWellFormedUtf8(const std::string& bytes) {
  size_t i = 0;
  while (i < bytes.size()) {
    const unsigned char b = static_cast<unsigned char>(bytes[i]);
    uint32_t c;
    size_t more;
    if (b < 0x80) {
      ++i;
      continue;
    } else if ((b & 0xE0) == 0xC0) {
      c = b & 0x1F;
      more = 1;
    } else if ((b & 0xF0) == 0xE0) {
      c = b & 0x0F;
      more = 2;
    } else if ((b & 0xF8) == 0xF0) {
      c = b & 0x07;
      more = 3;
    } else {
      return false;
    }
    if (i + more >= bytes.size()) return false;
    for (size_t k = 1; k <= more; ++k) {
      const unsigned char t = static_cast<unsigned char>(bytes[i + k]);
      if ((t & 0xC0) != 0x80) return false;
      c = (c << 6) | (t & 0x3F);
    }
    static const uint32_t kSmallest[] = {0, 0x80, 0x800, 0x10000};
    if (c < kSmallest[more] || c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) return false;
    i += more + 1;
  }
  return true;
}

}  // namespace fuzz
}  // namespace qz

#endif  // QZ_FUZZ_FUZZSUPPORT_H
