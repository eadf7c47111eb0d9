#include "profile/VideoTag.h"

#include "platform/Platform.h"

namespace qz {

VideoTag::VideoTag(bool fullData) { Platform::GetVideoInfo(info, fullData); }

VideoTag::VideoTag(const VideoInfo& info) { this->info = info; }

VideoTag::~VideoTag() = default;

StringBuf& VideoTag::Write(StringBuf& out) {
  if (info.name.StrLen() == 0 && info.driverVersion.StrLen() == 0 && info.colors == 0 &&
      info.memoryMB == 0) {
    return out;
  }
  return WriteElement(out, QZ_TEXT("video"));
}

void VideoTag::WriteAttributes(StringBuf& out) {
  WriteOptionalAttribute(out, QZ_TEXT("name"), info.name);
  WriteOptionalAttribute(out, QZ_TEXT("driver"), info.driverVersion);
  WriteOptionalAttribute(out, QZ_TEXT("colors"), info.colors);
  WriteOptionalAttribute(out, QZ_TEXT("memory"), info.memoryMB);
}

}  // namespace qz
