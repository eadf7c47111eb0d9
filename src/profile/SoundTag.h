// The "sound" element of the system profile: the sound device's maker and
// product name.
#ifndef QZ_PROFILE_SOUNDTAG_H
#define QZ_PROFILE_SOUNDTAG_H

#include "messages/Tag.h"
#include "platform/MachineFacts.h"

namespace qz {

class SoundTag : public Tag {
 public:
  // Reads the facts from the platform.
  explicit SoundTag(bool fullData);
  explicit SoundTag(const DeviceInfo& info);
  ~SoundTag() override;

  // Nothing while both texts are empty.
  StringBuf& Write(StringBuf& out) override;

 protected:
  void WriteAttributes(StringBuf& out) override;

 private:
  DeviceInfo info;
};

}  // namespace qz

#endif  // QZ_PROFILE_SOUNDTAG_H
