#include "support/TestText.h"

#include "types/Utf8.h"

namespace qz {
namespace test {

QZString W(const char* text) {
  QZString out;
  for (const char* p = text; *p != 0; ++p) out.push_back(static_cast<QZChar>(static_cast<unsigned char>(*p)));
  return out;
}

std::string U8(const QZChar* text) { return text == nullptr ? "(null)" : ToUtf8(text); }

}  // namespace test
}  // namespace qz
