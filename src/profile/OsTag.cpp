#include "profile/OsTag.h"

#include "platform/Platform.h"

namespace qz {

OsTag::OsTag(bool fullData) { Platform::GetOsInfo(info, fullData); }

OsTag::OsTag(const OsInfo& info) { this->info = info; }

OsTag::~OsTag() = default;

StringBuf& OsTag::Write(StringBuf& out) { return WriteElement(out, QZ_TEXT("os")); }

void OsTag::WriteAttributes(StringBuf& out) {
  WriteAttribute(out, QZ_TEXT("name"), info.caption);
  WriteAttribute(out, QZ_TEXT("sp-major"), info.spMajor);
  WriteAttribute(out, QZ_TEXT("sp-minor"), info.spMinor);
  WriteOptionalAttribute(out, QZ_TEXT("product-code"), info.productCode);
  WriteOptionalAttribute(out, QZ_TEXT("installed-date"), info.installDate);
  WriteOptionalAttribute(out, QZ_TEXT("language"), info.language);
}

}  // namespace qz
