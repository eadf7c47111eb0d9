#include "qz/BinaryInfo.h"

#include "platform/CaughtException.h"
#include "platform/Platform.h"
#include "types/Guid.h"


namespace qz {

BinaryInfo::BinaryInfo() : modifiedDate(0) {}

BinaryInfo::~BinaryInfo() = default;

// When memory runs out part way, the copy is left incomplete (and logged).
BinaryInfo& BinaryInfo::operator=(const BinaryInfo* other) try {
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
} catch (...) {
  LogCaughtException(QZ_TEXT("BinaryInfo::operator="));
  return *this;
}

void BinaryInfo::SetID(const QZChar* text) try {
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
} catch (...) {
  LogCaughtException(QZ_TEXT("BinaryInfo::SetID"));
}

void BinaryInfo::SetName(const QZChar* text) {
  AssignOrLog(name, text, QZ_TEXT("BinaryInfo::SetName"));
}

void BinaryInfo::SetVersion(const QZChar* text) {
  AssignOrLog(version, text, QZ_TEXT("BinaryInfo::SetVersion"));
}

void BinaryInfo::SetClassName(const QZChar* text) {
  AssignOrLog(className, text, QZ_TEXT("BinaryInfo::SetClassName"));
}

void BinaryInfo::SetMethodName(const QZChar* text) {
  AssignOrLog(methodName, text, QZ_TEXT("BinaryInfo::SetMethodName"));
}

void BinaryInfo::SetModifiedDate(uint64_t milliseconds) try {
  modifiedText.Clear();
  modifiedDate = milliseconds;
  // A time the platform cannot convert leaves the text empty.
  if (milliseconds != 0) Platform::FormatTime(milliseconds, modifiedText);
} catch (...) {
  modifiedText.Clear();
  LogCaughtException(QZ_TEXT("BinaryInfo::SetModifiedDate"));
}

}  // namespace qz
