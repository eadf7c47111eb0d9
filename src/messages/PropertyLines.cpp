#include "messages/PropertyLines.h"

#include "messages/Tag.h"
#include "qz/ExtendedKeys.h"

namespace qz {

void AppendPropertyLines(StringBuf& out, const ExtendedKeys* keys) {
  if (keys == nullptr) return;
  const uint64_t size = keys->Size();
  for (uint64_t i = 0; i < size; ++i) {
    const ExtendedKey* key = keys->Get(i);
    if (key == nullptr) continue;
    out.Append(QZ_TEXT("<property name=\""));
    Tag::AppendEscaped(out, key->Key());
    out.Append(QZ_TEXT("\" value=\""));
    Tag::AppendEscaped(out, key->Value());
    out.Append(QZChar('"'));
    if (key->IsNumeric()) out.Append(QZ_TEXT(" type=\"decimal\""));
    out.Append(QZ_TEXT("/>\n"));
  }
}

}  // namespace qz
