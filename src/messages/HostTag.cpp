#include "messages/HostTag.h"

#include "platform/Platform.h"

namespace qz {

HostTag::HostTag(bool fullData, bool omitPersonalInfo) : os(fullData) {
  Platform::GetHostInfo(info, omitPersonalInfo);
}

HostTag::HostTag(const HostInfo& host, const OsInfo& os) : os(os) { info = host; }

HostTag::~HostTag() = default;

StringBuf& HostTag::Write(StringBuf& out) { return WriteElement(out, QZ_TEXT("host")); }

void HostTag::WriteAttributes(StringBuf& out) {
  WriteAttribute(out, QZ_TEXT("ip"), info.ipAddress);
  WriteAttribute(out, QZ_TEXT("locale"), info.locale);
  WriteOptionalAttribute(out, QZ_TEXT("name"), info.name);
  if (info.virtualized) WriteAttribute(out, QZ_TEXT("virtualized"), true);
  WriteAttribute(out, QZ_TEXT("src-lang"), info.srcLang);
  WriteAttribute(out, QZ_TEXT("src-lang-ver"), info.srcLangVer);
}

void HostTag::WriteChildren(StringBuf& out) { os.Write(out); }

}  // namespace qz
