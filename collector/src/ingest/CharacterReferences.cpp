#include "ingest/CharacterReferences.h"

#include <cstdint>
#include <cstdio>
#include <cstring>

namespace qz {
namespace collector {

namespace {

constexpr uint32_t kMarker = 0x10FFFD;
constexpr uint32_t kPlaceholderBase = 0x100000;
// UTF-8 of the marker.
constexpr char kMarkerUtf8[] = "\xF4\x8F\xBF\xBD";

bool ForbiddenInXml(uint32_t c) {
  return (c < 0x20 && c != 0x9 && c != 0xA && c != 0xD) || c == 0xFFFE || c == 0xFFFF;
}

void AppendReference(std::string& out, uint32_t c) {
  char text[16];
  std::snprintf(text, sizeof text, "&#x%x;", static_cast<unsigned>(c));
  out += text;
}

// Reads "&#x1f;" or "&#31;" at pos; on success sets the value and the length.
// Anything else (not a reference, too long, beyond U+10FFFF) is left to the parser.
bool ReadReference(const std::string& s, size_t pos, uint32_t& value, size_t& length) {
  if (pos + 3 >= s.size() || s[pos] != '&' || s[pos + 1] != '#') return false;
  size_t i = pos + 2;
  const bool hex = s[i] == 'x';
  if (hex) ++i;
  const size_t first = i;
  uint32_t v = 0;
  while (i < s.size() && i - first <= 8) {
    const char c = s[i];
    int digit;
    if (c >= '0' && c <= '9') {
      digit = c - '0';
    } else if (hex && c >= 'a' && c <= 'f') {
      digit = c - 'a' + 10;
    } else if (hex && c >= 'A' && c <= 'F') {
      digit = c - 'A' + 10;
    } else {
      break;
    }
    v = v * (hex ? 16 : 10) + static_cast<uint32_t>(digit);
    ++i;
  }
  if (i == first || i >= s.size() || s[i] != ';' || i - first > 8 || v > 0x10FFFF) return false;
  value = v;
  length = i + 1 - pos;
  return true;
}

}  // namespace

bool CharacterReferences::Prepare(const std::string& body, std::string& out, std::string& error) {
  out.clear();
  out.reserve(body.size() + body.size() / 16);
  size_t copied = 0;  // body[copied, pos) is still to be appended unchanged
  size_t pos = 0;
  while (pos < body.size()) {
    const size_t amp = body.find_first_of("&\xF4", pos);
    if (amp == std::string::npos) break;
    if (body[amp] != '&') {
      // The marker sent as raw UTF-8 is doubled, like a sent marker reference.
      if (body.compare(amp, 4, kMarkerUtf8) == 0) {
        out.append(body, copied, amp + 4 - copied);
        out += kMarkerUtf8;
        copied = pos = amp + 4;
      } else {
        pos = amp + 1;
      }
      continue;
    }
    uint32_t c;
    size_t length;
    if (!ReadReference(body, amp, c, length)) {
      pos = amp + 1;
      continue;
    }
    size_t end = amp + length;
    if (c == 0) {
      error = "character reference to U+0000";
      return false;
    }
    if (c >= 0xD800 && c <= 0xDFFF) {
      uint32_t low;
      size_t lowLength;
      if (c <= 0xDBFF && ReadReference(body, end, low, lowLength) && low >= 0xDC00 &&
          low <= 0xDFFF) {
        c = 0x10000 + ((c - 0xD800) << 10) + (low - 0xDC00);
        end += lowLength;
      } else {
        c = 0xFFFD;
      }
    } else if (!ForbiddenInXml(c) && c != kMarker) {
      pos = end;  // an ordinary reference stays as it is
      continue;
    }
    out.append(body, copied, amp - copied);
    if (ForbiddenInXml(c)) {
      AppendReference(out, kMarker);
      AppendReference(out, kPlaceholderBase + c);
    } else if (c == kMarker) {
      AppendReference(out, kMarker);
      AppendReference(out, kMarker);
    } else {
      AppendReference(out, c);
    }
    copied = pos = end;
  }
  out.append(body, copied, std::string::npos);
  return true;
}

void CharacterReferences::Restore(std::string& text) {
  size_t marker = text.find(kMarkerUtf8);
  if (marker == std::string::npos) return;
  std::string out;
  out.reserve(text.size());
  size_t copied = 0;
  while (marker != std::string::npos) {
    const size_t next = marker + 4;
    // What follows the marker: the marker again, or a placeholder (4 UTF-8 bytes).
    if (next + 4 <= text.size() && static_cast<unsigned char>(text[next]) == 0xF4) {
      const auto b = [&](size_t i) { return static_cast<uint32_t>(static_cast<unsigned char>(text[i])); };
      const uint32_t c = ((b(next) & 0x07) << 18) | ((b(next + 1) & 0x3F) << 12) |
                         ((b(next + 2) & 0x3F) << 6) | (b(next + 3) & 0x3F);
      out.append(text, copied, marker - copied);
      if (c == kMarker) {
        out += kMarkerUtf8;
      } else {
        AppendUtf8(out, c - kPlaceholderBase);
      }
      copied = next + 4;
    }
    marker = text.find(kMarkerUtf8, copied > marker ? copied : next);
  }
  out.append(text, copied, std::string::npos);
  text.swap(out);
}

void CharacterReferences::AppendUtf8(std::string& out, uint32_t c) {
  if (c < 0x80) {
    out += static_cast<char>(c);
  } else if (c < 0x800) {
    out += static_cast<char>(0xC0 | (c >> 6));
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    out += static_cast<char>(0xE0 | (c >> 12));
    out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (c >> 18));
    out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  }
}

}  // namespace collector
}  // namespace qz
