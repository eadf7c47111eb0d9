// The "screen" element of the system profile: the display's device name,
// size in pixels and refresh rate.
#ifndef QZ_PROFILE_SCREENTAG_H
#define QZ_PROFILE_SCREENTAG_H

#include "messages/Tag.h"
#include "platform/MachineFacts.h"

namespace qz {

class ScreenTag : public Tag {
 public:
  // Reads the facts from the platform.
  explicit ScreenTag(bool fullData);
  explicit ScreenTag(const ScreenInfo& info);
  ~ScreenTag() override;

  // Nothing while the name is empty and every number is 0.
  StringBuf& Write(StringBuf& out) override;

 protected:
  void WriteAttributes(StringBuf& out) override;

 private:
  ScreenInfo info;
};

}  // namespace qz

#endif  // QZ_PROFILE_SCREENTAG_H
