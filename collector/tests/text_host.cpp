// A host program for the collector's end-to-end test: through the public
// headers and the shared library only, it reports one run whose feature name
// and properties hold characters that XML cannot carry as they are (outside
// the basic plane, control characters, noncharacters, a lone surrogate), and
// writes what the collector should store for each, as UTF-8 in hexadecimal.
//
//   qz_collector_text_host ENDPOINT EXPECTED_FILE
#include <cstdio>
#include <string>

#include "qz/qz.h"

namespace {

using Text = std::basic_string<QZChar>;

Text Widen(const char* text) {
  Text out;
  for (const char* p = text; *p != 0; ++p) out.push_back(static_cast<QZChar>(*p));
  return out;
}

std::string Hex(const std::string& bytes) {
  std::string out;
  char digits[3];
  for (unsigned char c : bytes) {
    std::snprintf(digits, sizeof digits, "%02x", c);
    out += digits;
  }
  return out;
}

struct Sample {
  const char* key;
  Text value;          // as the host passes it (UTF-16)
  std::string stored;  // what the collector must keep (UTF-8)
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: %s ENDPOINT EXPECTED_FILE\n", argv[0]);
    return 2;
  }
  const Sample samples[] = {
      {"astral", Text(u"smile \U0001F600 and \U0001D11E"), "smile \xF0\x9F\x98\x80 and \xF0\x9D\x84\x9E"},
      {"control", Text(u"a\x01" "b\x1f" "c\x7f" "d"), "a\x01" "b\x1f" "c\x7f" "d"},
      {"lines", Text(u"tab\there\r\nnext"), "tab\there\r\nnext"},
      {"markup", Text(u"<a href=\"x\">&amp;</a> it's"), "<a href=\"x\">&amp;</a> it's"},
      {"latin", Text(u"Jahresbericht \u00fcber M\u00e4rkte \u20ac"), "Jahresbericht \xC3\xBC" "ber M\xC3\xA4rkte \xE2\x82\xAC"},
      {"nonchar", Text(u"\ufffe\uffff"), "\xEF\xBF\xBE\xEF\xBF\xBF"},
      {"private", Text(u"\U0010FFFD\U00100001"), "\xF4\x8F\xBF\xBD\xF4\x80\x80\x81"},
      {"lone", Text(1, static_cast<QZChar>(0xD800)) + Text(u"x"), "\xEF\xBF\xBDx"},
  };
  FILE* expected = std::fopen(argv[2], "w");
  if (expected == nullptr) return 1;
  qz::ExtendedKeys keys;
  for (const Sample& s : samples) {
    keys.Add(Widen(s.key).c_str(), s.value.c_str());
    std::fprintf(expected, "%s\t%s\n", s.key, Hex(s.stored).c_str());
  }
  const Text feature(u"Export \U0001F4C4");
  std::fprintf(expected, "feature\t%s\n", Hex("Export \xF0\x9F\x93\x84").c_str());
  std::fclose(expected);

  qz::Configuration config;
  config.SetCompanyID(QZ_TEXT("9531985D-5D9D-49F8-9818-E811892F902B"));
  config.SetApplicationID(QZ_TEXT("36F675CC-81E7-4EF5-A8E2-5D940ED90475"));
  config.SetApplicationName(QZ_TEXT("Text host"));
  config.SetEndpointLocation(Widen(argv[1]).c_str());
  config.SetUseSSL(false);
  config.SetEndpointTimeout(5000);
  config.SetSupportOfflineStorage(false);
  const qz::ExtendedKeys none;
  if (!qz::API::ApplicationStart(&config, &none)) return 1;
  qz::API::FeatureStart(feature.c_str(), &keys);
  qz::API::FeatureStop(feature.c_str(), &keys);
  qz::API::ApplicationStop(&none);
  return 0;
}
