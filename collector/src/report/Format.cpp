#include "report/Format.h"

#include <cstdio>

namespace qz {
namespace collector {

namespace {

constexpr char kReplacement[] = "\xEF\xBF\xBD";

// Length of the valid UTF-8 sequence at text[i], and its code point; 0 when invalid.
size_t Sequence(const std::string& text, size_t i, uint32_t& cp) {
  const auto byte = [&](size_t k) { return static_cast<unsigned char>(text[k]); };
  const unsigned char b = byte(i);
  size_t n;
  uint32_t min;
  if (b < 0x80) {
    cp = b;
    return 1;
  } else if (b >= 0xC2 && b <= 0xDF) {
    n = 2, cp = b & 0x1F, min = 0x80;
  } else if (b >= 0xE0 && b <= 0xEF) {
    n = 3, cp = b & 0x0F, min = 0x800;
  } else if (b >= 0xF0 && b <= 0xF4) {
    n = 4, cp = b & 0x07, min = 0x10000;
  } else {
    return 0;
  }
  if (i + n > text.size()) return 0;
  for (size_t k = 1; k < n; ++k) {
    if ((byte(i + k) & 0xC0) != 0x80) return 0;
    cp = (cp << 6) | (byte(i + k) & 0x3F);
  }
  if (cp < min || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return 0;
  return n;
}

bool Unsafe(uint32_t cp, bool keepLines) {
  if (cp == '\n') return !keepLines;
  return cp < 0x20 || (cp >= 0x7F && cp <= 0x9F) || (cp >= 0x202A && cp <= 0x202E) ||
         (cp >= 0x2066 && cp <= 0x2069) || cp == 0x2028 || cp == 0x2029;
}

}  // namespace

std::string Format::Printable(const std::string& text, bool keepLines) {
  std::string out;
  out.reserve(text.size());
  for (size_t i = 0; i < text.size();) {
    uint32_t cp = 0;
    const size_t n = Sequence(text, i, cp);
    if (n == 0 || Unsafe(cp, keepLines)) {
      out += kReplacement;
      i += n == 0 ? 1 : n;
    } else {
      out.append(text, i, n);
      i += n;
    }
  }
  return out;
}

std::string Format::Cut(const std::string& text, size_t maxChars) {
  const std::string safe = Printable(text);
  size_t chars = 0, i = 0, cutAt = 0;
  while (i < safe.size()) {
    uint32_t cp = 0;
    const size_t n = Sequence(safe, i, cp);  // valid: Printable made it so
    if (chars == (maxChars > 3 ? maxChars - 3 : 0)) cutAt = i;
    if (++chars > maxChars) return safe.substr(0, cutAt) + "...";
    i += n;
  }
  return safe;
}

std::string Format::Html(const std::string& text) {
  const std::string safe = Printable(text, true);
  std::string out;
  out.reserve(safe.size() + 16);
  for (char c : safe) {
    switch (c) {
      case '&': out += "&amp;"; break;
      case '<': out += "&lt;"; break;
      case '>': out += "&gt;"; break;
      case '"': out += "&quot;"; break;
      case '\'': out += "&#39;"; break;
      case '\n': out += "&#10;"; break;
      default: out += c;
    }
  }
  return out;
}

std::string Format::Json(const std::string& text) {
  const std::string safe = Printable(text, true);
  std::string out = "\"";
  for (char c : safe) {
    if (c == '"' || c == '\\') {
      out += '\\';
      out += c;
    } else if (c == '\n') {
      out += "\\n";
    } else if (c == '<') {
      out += "\\u003c";  // harmless inside a page's script too
    } else {
      out += c;
    }
  }
  return out + "\"";
}

std::string Format::Duration(int64_t ms) {
  // The magnitude as unsigned, so that the most negative value has one too.
  const uint64_t a = ms < 0 ? 0 - static_cast<uint64_t>(ms) : static_cast<uint64_t>(ms);
  const char* sign = ms < 0 ? "-" : "";
  char text[96];
  const auto u = [](uint64_t v) { return static_cast<unsigned long long>(v); };
  if (a < 60000) {
    std::snprintf(text, sizeof text, "%s%llu.%03llu s", sign, u(a / 1000), u(a % 1000));
  } else if (a < 3600000) {
    std::snprintf(text, sizeof text, "%s%llu min %02llu s", sign, u(a / 60000), u(a / 1000 % 60));
  } else if (a < 86400000) {
    std::snprintf(text, sizeof text, "%s%llu h %02llu min", sign, u(a / 3600000), u(a / 60000 % 60));
  } else {
    std::snprintf(text, sizeof text, "%s%llu d %02llu h", sign, u(a / 86400000), u(a / 3600000 % 24));
  }
  return text;
}

std::string Format::Count(int64_t n) {
  const uint64_t a = n < 0 ? 0 - static_cast<uint64_t>(n) : static_cast<uint64_t>(n);
  std::string digits = std::to_string(a), out;
  for (size_t i = 0; i < digits.size(); ++i) {
    if (i > 0 && (digits.size() - i) % 3 == 0) out += ',';
    out += digits[i];
  }
  return (n < 0 ? "-" : "") + out;
}

std::string Format::Percent(double part, double whole) {
  if (!(whole > 0)) return "-";
  char text[64];
  std::snprintf(text, sizeof text, "%.1f %%", 100.0 * part / whole);
  return text;
}

}  // namespace collector
}  // namespace qz
