#include "profile/ScreenTag.h"

#include "platform/Platform.h"

namespace qz {

ScreenTag::ScreenTag(bool fullData) { Platform::GetScreenInfo(info, fullData); }

ScreenTag::ScreenTag(const ScreenInfo& info) { this->info = info; }

ScreenTag::~ScreenTag() = default;

StringBuf& ScreenTag::Write(StringBuf& out) {
  if (info.deviceName.StrLen() == 0 && info.width == 0 && info.height == 0 && info.refresh == 0) {
    return out;
  }
  return WriteElement(out, QZ_TEXT("screen"));
}

void ScreenTag::WriteAttributes(StringBuf& out) {
  WriteOptionalAttribute(out, QZ_TEXT("name"), info.deviceName);
  WriteOptionalAttribute(out, QZ_TEXT("width"), info.width);
  WriteOptionalAttribute(out, QZ_TEXT("height"), info.height);
  WriteOptionalAttribute(out, QZ_TEXT("refresh"), info.refresh);
}

}  // namespace qz
