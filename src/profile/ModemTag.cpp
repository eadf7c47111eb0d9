#include "profile/ModemTag.h"

#include "platform/Platform.h"

namespace qz {

ModemTag::ModemTag(bool fullData) { Platform::GetModem(info, fullData); }

ModemTag::ModemTag(const DeviceInfo& info) { this->info = info; }

ModemTag::~ModemTag() = default;

StringBuf& ModemTag::Write(StringBuf& out) {
  if (info.first.StrLen() == 0 && info.second.StrLen() == 0) return out;
  return WriteElement(out, QZ_TEXT("modem"));
}

void ModemTag::WriteAttributes(StringBuf& out) {
  WriteOptionalAttribute(out, QZ_TEXT("model"), info.first);
  WriteOptionalAttribute(out, QZ_TEXT("type"), info.second);
}

}  // namespace qz
