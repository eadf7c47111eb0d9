// The "video" element of the system profile: the display adapter's name,
// driver version, number of colours and memory in MiB.
#ifndef QZ_PROFILE_VIDEOTAG_H
#define QZ_PROFILE_VIDEOTAG_H

#include "messages/Tag.h"
#include "platform/MachineFacts.h"

namespace qz {

class VideoTag : public Tag {
 public:
  // Reads the facts from the platform.
  explicit VideoTag(bool fullData);
  explicit VideoTag(const VideoInfo& info);
  ~VideoTag() override;

  // Nothing while both texts are empty and both numbers are 0.
  StringBuf& Write(StringBuf& out) override;

 protected:
  void WriteAttributes(StringBuf& out) override;

 private:
  VideoInfo info;
};

}  // namespace qz

#endif  // QZ_PROFILE_VIDEOTAG_H
