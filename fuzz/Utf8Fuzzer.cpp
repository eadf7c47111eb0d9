// UTF-16 to UTF-8 and back, ill-formed input included: UTF-8 that the library
// writes is always well formed, text survives the round trip except for lone
// surrogates (each becomes U+FFFD), and well-formed UTF-8 survives the reverse
// trip byte for byte.
#include <string>

#include "FuzzSupport.h"
#include "qz/StringBuf.h"
#include "types/Utf8.h"

namespace qz {
namespace fuzz {
namespace {

// The text with every surrogate that is not part of a pair replaced.
Text WithoutLoneSurrogates(const Text& text) {
  Text out;
  for (size_t i = 0; i < text.size(); ++i) {
    const char16_t c = text[i];
    if (c >= 0xD800 && c <= 0xDBFF && i + 1 < text.size() && text[i + 1] >= 0xDC00 &&
        text[i + 1] <= 0xDFFF) {
      out.push_back(c);
      out.push_back(text[++i]);
    } else if (c >= 0xD800 && c <= 0xDFFF) {
      out.push_back(0xFFFD);
    } else {
      out.push_back(c);
    }
  }
  return out;
}

Text Contents(const StringBuf& s) {
  return Text(reinterpret_cast<const char16_t*>(s.ToString()), s.StrLen());
}

}  // namespace
}  // namespace fuzz
}  // namespace qz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  using namespace qz::fuzz;  // NOLINT(build/namespaces)
  FuzzedDataProvider data(bytes, size);
  if (data.ConsumeBool()) {
    // Bytes as they may arrive from a stored file.
    const std::string utf8 = data.ConsumeRemainingBytesAsString();
    qz::StringBuf text(QZ_TEXT("x"));
    qz::AppendFromUtf8(text, utf8);
    const Text decoded = Contents(text).substr(1);
    QZ_FUZZ_CHECK(WithoutLoneSurrogates(decoded) == decoded);
    const std::string again = qz::ToUtf8(text).substr(1);
    QZ_FUZZ_CHECK(IsWellFormedUtf8(again));
    if (IsWellFormedUtf8(utf8)) QZ_FUZZ_CHECK(again == utf8);
    // Decoding what was written changes nothing more.
    qz::StringBuf twice;
    qz::AppendFromUtf8(twice, again);
    QZ_FUZZ_CHECK(Contents(twice) == decoded);
  } else {
    // Units as a host may pass them.
    Text units;
    while (data.remaining_bytes() >= 2) units.push_back(data.ConsumeIntegral<uint16_t>());
    qz::StringBuf text;
    for (char16_t c : units) text.Append(static_cast<QZChar>(c));
    const std::string utf8 = qz::ToUtf8(text);
    QZ_FUZZ_CHECK(IsWellFormedUtf8(utf8));
    // The pointer form stops at the first NUL.
    QZ_FUZZ_CHECK(qz::ToUtf8(Terminated(units)) == utf8.substr(0, utf8.find('\0')));
    qz::StringBuf back;
    qz::AppendFromUtf8(back, utf8);
    QZ_FUZZ_CHECK(Contents(back) == WithoutLoneSurrogates(units));
  }
  return 0;
}
