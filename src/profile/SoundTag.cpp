#include "profile/SoundTag.h"

#include "platform/Platform.h"

namespace qz {

SoundTag::SoundTag(bool fullData) { Platform::GetSoundDevice(info, fullData); }

SoundTag::SoundTag(const DeviceInfo& info) { this->info = info; }

SoundTag::~SoundTag() = default;

StringBuf& SoundTag::Write(StringBuf& out) {
  if (info.first.StrLen() == 0 && info.second.StrLen() == 0) return out;
  return WriteElement(out, QZ_TEXT("sound"));
}

void SoundTag::WriteAttributes(StringBuf& out) {
  WriteOptionalAttribute(out, QZ_TEXT("manufacturer"), info.first);
  WriteOptionalAttribute(out, QZ_TEXT("model"), info.second);
}

}  // namespace qz
