#define QZ_USE_FLAT_ABI 1

#include "alloc/InlineClasses.h"

#include <new>
#include <string>

#include "qz/qz.h"

namespace qz {
namespace test {

namespace {

std::u16string Text(const QZChar* text) {
  return std::u16string(reinterpret_cast<const char16_t*>(text));
}

}  // namespace

bool UseEveryInlineClass() {
  Configuration config;
  config.SetCompanyID(QZ_TEXT("9531985d-5d9d-49f8-9818-e811892f902b"));
  config.SetCompanyName(QZ_TEXT("Example & Sons"));
  Configuration copy;
  copy = &config;
  FlowController flow;
  flow.SetQueueSize(100);
  BinaryInfo binary;
  binary.SetName(QZ_TEXT("editor.exe"));
  binary.SetModifiedDate(1000);
  ExceptionInfo info;
  info.Thrown(std::bad_alloc()).Contact(QZ_TEXT("  user@example.com "));

  ExtendedKeys keys;
  keys.Add(QZ_TEXT("format"), QZ_TEXT("PDF"));
  keys.Add(QZ_TEXT("pages"), 12);
  // Get may answer null when it cannot allocate; what it hands out is whole.
  for (uint64_t i = 0; i < keys.Size(); ++i) {
    const ExtendedKey* property = keys.Get(i);
    if (property != nullptr && property->Key()[0] == 0) return false;
  }

  StringBuf text(QZ_TEXT("abc"));
  try {
    for (int i = 0; i < 40; ++i) text.Append(QZ_TEXT("0123456789"));
  } catch (const std::bad_alloc&) {
    // Only whole appends: "abc" and then ten digits at a time.
    const std::u16string kept = Text(text);
    if (kept.compare(0, 3, u"abc") != 0 || (kept.size() - 3) % 10 != 0) return false;
    throw;
  }
  text.Append(3.5).Append(static_cast<uint64_t>(255), 16).Append("narrow");
  return true;
}

}  // namespace test
}  // namespace qz
