#include "profile/DomainTag.h"

#include "platform/Platform.h"

namespace qz {

DomainTag::DomainTag(bool fullData, bool omitPersonalInfo) {
  Platform::GetDomainInfo(info, fullData, omitPersonalInfo);
}

DomainTag::DomainTag(const DomainInfo& info) { this->info = info; }

DomainTag::~DomainTag() = default;

StringBuf& DomainTag::Write(StringBuf& out) { return WriteElement(out, QZ_TEXT("domain")); }

void DomainTag::WriteAttributes(StringBuf& out) {
  WriteAttribute(out, QZ_TEXT("member"), info.partOfDomain);
  WriteOptionalAttribute(out, QZ_TEXT("name"), info.domain);
  WriteOptionalAttribute(out, QZ_TEXT("role"), info.role);
}

}  // namespace qz
