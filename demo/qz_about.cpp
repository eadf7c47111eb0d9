// Prints what the library reports about itself: platform, clock and a new GUID.
#include <cstdint>
#include <cstdio>
#include <string>

#include "platform/LibraryLoad.h"
#include "platform/Platform.h"
#include "qz/StringBuf.h"

namespace {

// UTF-16 to UTF-8 for the terminal; a lone surrogate prints as '?'.
std::string ToUtf8(const QZChar* text) {
  std::string out;
  for (const QZChar* p = text; p != nullptr && *p != 0; ++p) {
    uint32_t c = static_cast<uint16_t>(*p);
    if (c >= 0xD800 && c <= 0xDBFF && static_cast<uint16_t>(p[1]) >= 0xDC00 &&
        static_cast<uint16_t>(p[1]) <= 0xDFFF) {
      c = 0x10000 + ((c - 0xD800) << 10) + (static_cast<uint16_t>(p[1]) - 0xDC00);
      ++p;
    } else if (c >= 0xD800 && c <= 0xDFFF) {
      c = '?';
    }
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
  return out;
}

void PrintLine(const char* label, const qz::StringBuf& value) {
  std::string text = ToUtf8(value.ToString());
  std::printf("%-18s %s\n", label, text.empty() ? "(not reported)" : text.c_str());
}

}  // namespace

int main() {
  qz::CreatePlatform();
  if (qz::Platform::Instance() == nullptr) {
    std::fprintf(stderr, "qz_about: the library's platform could not be created\n");
    return 1;
  }

  qz::PlatformInfo info;
  qz::Platform::GetPlatformInfo(info);
  qz::StringBuf now;
  qz::Platform::GetTimeString(now);
  qz::StringBuf guid;
  qz::Platform::NewGUID(guid);

  std::printf("qz telemetry library\n");
  PrintLine("platform:", info.name);
  PrintLine("platform version:", info.version);
  PrintLine("time (UTC):", now);
  std::printf("%-18s %llu\n", "time (ms):",
              static_cast<unsigned long long>(qz::Platform::GetTimeMillis()));
  PrintLine("new GUID:", guid);

  qz::DestroyPlatform();
  return 0;
}
