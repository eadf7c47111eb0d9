#include "delivery/ServerPins.h"

#include <algorithm>

namespace qz {
namespace {

const char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

int Sextet(QZChar c) {
  if (c >= 'A' && c <= 'Z') return c - 'A';
  if (c >= 'a' && c <= 'z') return c - 'a' + 26;
  if (c >= '0' && c <= '9') return c - '0' + 52;
  if (c == '+') return 62;
  if (c == '/') return 63;
  return -1;
}

bool IsSpace(QZChar c) { return c == ' ' || c == '\t'; }

// 32 bytes are 43 base64 characters and one "=": the last character holds
// only 4 bits of the digest, and the other 2 must be zero for the text to be
// the digest's one spelling.
bool DecodeDigest(const QZChar* begin, const QZChar* end, ServerPins::Digest& out) {
  size_t length = static_cast<size_t>(end - begin);
  if (length == 44 && begin[43] == '=') length = 43;
  if (length != 43) return false;
  uint32_t bits = 0;
  int held = 0;
  size_t written = 0;
  for (size_t i = 0; i < length; ++i) {
    const int value = Sextet(begin[i]);
    if (value < 0) return false;
    bits = (bits << 6) | static_cast<uint32_t>(value);
    held += 6;
    if (held >= 8) {
      held -= 8;
      out[written++] = static_cast<uint8_t>(bits >> held);
      bits &= (1u << held) - 1;
    }
  }
  return written == 32 && bits == 0;
}

std::string Encode(const ServerPins::Digest& digest) {
  std::string out;
  size_t i = 0;
  for (; i + 3 <= digest.size(); i += 3) {
    const uint32_t n = (uint32_t{digest[i]} << 16) | (uint32_t{digest[i + 1]} << 8) | digest[i + 2];
    for (int shift = 18; shift >= 0; shift -= 6) out += kAlphabet[(n >> shift) & 63];
  }
  // 32 = 3 * 10 + 2: two bytes left, written as three characters and "=".
  const uint32_t n = (uint32_t{digest[i]} << 16) | (uint32_t{digest[i + 1]} << 8);
  out += kAlphabet[(n >> 18) & 63];
  out += kAlphabet[(n >> 12) & 63];
  out += kAlphabet[(n >> 6) & 63];
  out += '=';
  return out;
}

}  // namespace

bool ServerPins::Parse(const QZChar* text) {
  std::vector<Digest> read;
  if (text != nullptr) {
    static const QZChar kPrefix[] = QZ_TEXT("sha256//");
    const QZChar* at = text;
    for (;;) {
      const QZChar* end = at;
      while (*end != 0 && *end != ';') ++end;
      const QZChar* first = at;
      const QZChar* last = end;
      while (first < last && IsSpace(*first)) ++first;
      while (last > first && IsSpace(last[-1])) --last;
      if (last - first >= 8 && std::equal(kPrefix, kPrefix + 8, first)) first += 8;
      // An empty entry (a ";" at the end, say) names nothing and is skipped.
      if (first != last) {
        Digest digest;
        if (!DecodeDigest(first, last, digest)) return false;
        read.push_back(digest);
      }
      if (*end == 0) break;
      at = end + 1;
    }
    if (read.empty() && *text != 0) return false;
  }
  digests.swap(read);
  return true;
}

bool ServerPins::Matches(const Digest& digest) const {
  return std::find(digests.begin(), digests.end(), digest) != digests.end();
}

std::string ServerPins::CurlList() const {
  std::string list;
  for (const Digest& digest : digests) {
    if (!list.empty()) list += ';';
    list += "sha256//";
    list += Encode(digest);
  }
  return list;
}

}  // namespace qz
