#include "messages/BinaryTag.h"

#include "qz/BinaryInfo.h"

namespace qz {

BinaryTag::BinaryTag() = default;

BinaryTag::~BinaryTag() = default;

void BinaryTag::Fill(const BinaryInfo* info) {
  if (info == nullptr) {
    id.Clear();
    name.Clear();
    version.Clear();
    type.Clear();
    method.Clear();
    modified.Clear();
    return;
  }
  id = info->GetID();
  name = info->GetName();
  version = info->GetVersion();
  type = info->GetClassName();
  method = info->GetMethodName();
  modified = info->GetModifiedDateString();
}

bool BinaryTag::HasContent() const {
  return id.StrLen() != 0 || name.StrLen() != 0 || version.StrLen() != 0 ||
         type.StrLen() != 0 || method.StrLen() != 0 || modified.StrLen() != 0;
}

StringBuf& BinaryTag::Write(StringBuf& out) {
  if (!HasContent()) return out;
  return WriteElement(out, QZ_TEXT("binary"));
}

void BinaryTag::WriteAttributes(StringBuf& out) {
  WriteOptionalAttribute(out, QZ_TEXT("id"), id);
  WriteOptionalAttribute(out, QZ_TEXT("modified"), modified);
  WriteOptionalAttribute(out, QZ_TEXT("name"), name);
  WriteOptionalAttribute(out, QZ_TEXT("version"), version);
  WriteOptionalAttribute(out, QZ_TEXT("type"), type);
  WriteOptionalAttribute(out, QZ_TEXT("method"), method);
}

}  // namespace qz
