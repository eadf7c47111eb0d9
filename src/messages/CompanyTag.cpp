#include "messages/CompanyTag.h"

namespace qz {

CompanyTag::CompanyTag(const QZChar* id, const QZChar* name) : name(32), id(32) {
  this->name = name;
  this->id = id;
}

CompanyTag::~CompanyTag() = default;

StringBuf& CompanyTag::Write(StringBuf& out) { return WriteElement(out, QZ_TEXT("company")); }

void CompanyTag::WriteAttributes(StringBuf& out) {
  // The receiver files batches by company: the id goes out even when empty.
  WriteAttribute(out, QZ_TEXT("id"), id);
  WriteOptionalAttribute(out, QZ_TEXT("name"), name);
}

}  // namespace qz
