#include "types/Utf8.h"

#include <memory>

namespace qz {

namespace {

const uint32_t kReplacement = 0xFFFD;

void PutCodePoint(std::string& out, uint32_t c) {
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

// Collects the decoded units and appends them once: a string grows only a
// little past each append, so a long text appended in pieces was copied over
// and over. No text decodes to more units than it has bytes, so room for
// count units always suffices.
class Utf16Sink {
 public:
  explicit Utf16Sink(uint64_t count) : units_(small_), used_(0) {
    if (count > kSmall) {
      large_.reset(new QZChar[count]);
      units_ = large_.get();
    }
  }
  Utf16Sink(const Utf16Sink&) = delete;
  Utf16Sink& operator=(const Utf16Sink&) = delete;

  void Put(uint32_t unit) { units_[used_++] = static_cast<QZChar>(unit); }

  void PutCodePoint(uint32_t c) {
    if (c >= 0x10000) {
      c -= 0x10000;
      Put(0xD800 + (c >> 10));
      Put(0xDC00 + (c & 0x3FF));
    } else {
      Put(c);
    }
  }

  // NULs included.
  void AppendTo(StringBuf& out) const {
    if (used_ > 0) out.Append(units_, used_);
  }

 private:
  static const uint64_t kSmall = 256;
  QZChar small_[kSmall];
  std::unique_ptr<QZChar[]> large_;
  QZChar* units_;
  uint64_t used_;
};

}  // namespace

void AppendUtf8(std::string& out, const QZChar* text, uint64_t count) {
  if (text == nullptr || count == 0) return;
  // What the library converts is mostly ASCII (all of its XML is): such
  // units go straight into place, one byte each, until one that is not.
  const size_t start = out.size();
  out.resize(start + count);
  char* bytes = &out[start];
  uint64_t i = 0;
  for (; i < count && static_cast<uint16_t>(text[i]) < 0x80; ++i) {
    bytes[i] = static_cast<char>(text[i]);
  }
  out.resize(start + i);
  if (i == count) return;
  out.reserve(out.size() + (count - i));
  while (i < count) {
    uint32_t c = static_cast<uint16_t>(text[i]);
    if (c < 0x80) {
      out.push_back(static_cast<char>(c));
      ++i;
      continue;
    }
    if (c >= 0xD800 && c <= 0xDBFF && i + 1 < count) {
      uint32_t low = static_cast<uint16_t>(text[i + 1]);
      if (low >= 0xDC00 && low <= 0xDFFF) {
        PutCodePoint(out, 0x10000 + ((c - 0xD800) << 10) + (low - 0xDC00));
        i += 2;
        continue;
      }
    }
    if (c >= 0xD800 && c <= 0xDFFF) c = kReplacement;
    PutCodePoint(out, c);
    ++i;
  }
}

std::string ToUtf8(const QZChar* text) {
  std::string out;
  if (text == nullptr) return out;
  uint64_t n = 0;
  while (text[n] != 0) ++n;
  AppendUtf8(out, text, n);
  return out;
}

std::string ToUtf8(const StringBuf& text) {
  std::string out;
  AppendUtf8(out, text.ToString(), text.StrLen());
  return out;
}

void AppendFromUtf8(StringBuf& out, const char* bytes, uint64_t count) {
  if (bytes == nullptr || count == 0) return;
  const unsigned char* p = reinterpret_cast<const unsigned char*>(bytes);
  Utf16Sink sink(count);
  uint64_t i = 0;
  while (i < count) {
    uint32_t b = p[i];
    if (b < 0x80) {
      sink.Put(b);
      ++i;
      continue;
    }
    // Lead byte: number of continuation bytes and the allowed range of the
    // first one, which rules out overlong forms, surrogates and > U+10FFFF.
    int more;
    uint32_t lo = 0x80, hi = 0xBF;
    uint32_t c;
    if (b >= 0xC2 && b <= 0xDF) {
      more = 1;
      c = b & 0x1F;
    } else if (b >= 0xE0 && b <= 0xEF) {
      more = 2;
      c = b & 0x0F;
      if (b == 0xE0) lo = 0xA0;
      if (b == 0xED) hi = 0x9F;
    } else if (b >= 0xF0 && b <= 0xF4) {
      more = 3;
      c = b & 0x07;
      if (b == 0xF0) lo = 0x90;
      if (b == 0xF4) hi = 0x8F;
    } else {
      sink.Put(kReplacement);
      ++i;
      continue;
    }
    ++i;
    bool ok = true;
    for (int k = 0; k < more; ++k) {
      if (i >= count) {
        ok = false;
        break;
      }
      uint32_t t = p[i];
      if (t < lo || t > hi) {
        ok = false;
        break;
      }
      c = (c << 6) | (t & 0x3F);
      lo = 0x80;
      hi = 0xBF;
      ++i;
    }
    // A broken sequence yields one replacement for the bytes consumed so far;
    // the byte that broke it is decoded afresh.
    sink.PutCodePoint(ok ? c : kReplacement);
  }
  sink.AppendTo(out);
}

}  // namespace qz
