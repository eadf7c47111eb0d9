// What the report does with any stored bytes before a terminal, a page or
// another tool sees them: the result is well-formed UTF-8 without control
// characters, a cut label is a prefix of the whole one and never longer than
// asked, and HTML and JSON texts carry no markup or quote of their own.
#include <string>

#include "FuzzSupport.h"
#include "report/Format.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  using qz::collector::Format;
  using namespace qz::fuzz;  // NOLINT(build/namespaces)
  FuzzedDataProvider data(bytes, size);
  const size_t width = data.ConsumeIntegralInRange<size_t>(0, 80);
  const bool keepLines = data.ConsumeBool();
  const std::string stored = data.ConsumeRemainingBytesAsString();

  const std::string shown = Format::Printable(stored, keepLines);
  QZ_FUZZ_CHECK(IsWellFormedUtf8(shown));
  for (unsigned char c : shown) QZ_FUZZ_CHECK(c >= 0x20 ? c != 0x7F : (keepLines && c == '\n'));
  QZ_FUZZ_CHECK(Format::Printable(shown, keepLines) == shown);
  if (IsWellFormedUtf8(stored) && stored.find_first_of(std::string("\0\x1b\x7f", 3)) == std::string::npos) {
    bool plain = true;
    for (unsigned char c : stored) plain = plain && c >= 0x20 && c < 0x80;
    if (plain) QZ_FUZZ_CHECK(shown == stored);
  }

  const std::string cut = Format::Cut(stored, width);
  QZ_FUZZ_CHECK(IsWellFormedUtf8(cut));
  const std::string whole = Format::Printable(stored);
  if (cut != whole) {
    QZ_FUZZ_CHECK(cut.size() >= 3 && cut.compare(cut.size() - 3, 3, "...") == 0);
    QZ_FUZZ_CHECK(whole.compare(0, cut.size() - 3, cut, 0, cut.size() - 3) == 0);
  }
  size_t characters = 0;
  for (unsigned char c : cut) characters += (c & 0xC0) != 0x80;
  QZ_FUZZ_CHECK(characters <= std::max<size_t>(width, 3));

  const std::string html = Format::Html(stored);
  QZ_FUZZ_CHECK(IsWellFormedUtf8(html) && html.find_first_of("<>\"'\n") == std::string::npos);
  const std::string json = Format::Json(stored);
  QZ_FUZZ_CHECK(IsWellFormedUtf8(json) && json.size() >= 2 && json.front() == '"' && json.back() == '"');
  for (size_t i = 1; i + 1 < json.size(); ++i) {
    if (json[i] == '\\') {
      ++i;  // an escape and what it escapes
      continue;
    }
    QZ_FUZZ_CHECK(json[i] != '"' && json[i] != '<' && static_cast<unsigned char>(json[i]) >= 0x20);
  }
  return 0;
}
