#include "qz/BinaryInfo.h"

#include "platform/Platform.h"
#include "types/Guid.h"


namespace qz {

BinaryInfo::BinaryInfo() : modifiedDate(0) {}

BinaryInfo::~BinaryInfo() = default;

BinaryInfo& BinaryInfo::operator=(const BinaryInfo* other) {
  if (other == this) return *this;
  id.Clear();
  name.Clear();
  version.Clear();
  className.Clear();
  methodName.Clear();
  modifiedText.Clear();
  modifiedDate = 0;
  if (other != nullptr) {
    id = other->id;
    name = other->name;
    version = other->version;
    className = other->className;
    methodName = other->methodName;
    modifiedText = other->modifiedText;
    modifiedDate = other->modifiedDate;
  }
  return *this;
}

void BinaryInfo::SetID(const QZChar* text) {
  if (text == nullptr || text[0] == 0) {
    id.Clear();
    return;
  }
  if (!IsValidGUID(text)) {
    StringBuf message(QZ_TEXT("invalid ID - "));
    message.Append(text);
    Platform::LogError(QZ_TEXT("BinaryInfo::SetID"), message);
    return;
  }
  id = text;
  id.ToUpperCase();
}

void BinaryInfo::SetName(const QZChar* text) { name = text; }

void BinaryInfo::SetVersion(const QZChar* text) { version = text; }

void BinaryInfo::SetClassName(const QZChar* text) { className = text; }

void BinaryInfo::SetMethodName(const QZChar* text) { methodName = text; }

void BinaryInfo::SetModifiedDate(uint64_t milliseconds) {
  modifiedText.Clear();
  modifiedDate = milliseconds;
  // A time the platform cannot convert leaves the text empty.
  if (milliseconds != 0) Platform::FormatTime(milliseconds, modifiedText);
}

}  // namespace qz
