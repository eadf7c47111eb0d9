#include "messages/PropertyLines.h"

#include "messages/Tag.h"
#include "qz/ExtendedKeys.h"

namespace qz {

namespace {

const QZChar kOpen[] = QZ_TEXT("<property name=\"");
const QZChar kValue[] = QZ_TEXT("\" value=\"");
const QZChar kTextEnd[] = QZ_TEXT("\"/>\n");
const QZChar kNumberEnd[] = QZ_TEXT("\" type=\"decimal\"/>\n");

}  // namespace

void AppendPropertyLines(StringBuf& out, const ExtendedKeys* keys) {
  if (keys == nullptr) return;
  const uint64_t size = keys->Size();
  for (uint64_t i = 0; i < size; ++i) {
    const ExtendedKey* key = keys->Get(i);
    if (key == nullptr) continue;
    Tag::AppendLiteral(out, kOpen);
    Tag::AppendEscaped(out, key->Key());
    Tag::AppendLiteral(out, kValue);
    Tag::AppendEscaped(out, key->Value());
    if (key->IsNumeric()) {
      Tag::AppendLiteral(out, kNumberEnd);
    } else {
      Tag::AppendLiteral(out, kTextEnd);
    }
  }
}

uint64_t PropertyLinesLength(const ExtendedKeys* keys) {
  if (keys == nullptr) return 0;
  uint64_t length = 0;
  for (uint64_t i = 0; i < keys->Size(); ++i) {
    const ExtendedKey* key = keys->Get(i);
    if (key == nullptr) continue;
    length += Tag::LiteralLength(kOpen) + Tag::TextLength(key->Key()) +
              Tag::LiteralLength(kValue) + Tag::TextLength(key->Value()) +
              (key->IsNumeric() ? Tag::LiteralLength(kNumberEnd) : Tag::LiteralLength(kTextEnd));
  }
  return length;
}

}  // namespace qz
