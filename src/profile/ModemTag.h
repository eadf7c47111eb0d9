// The "modem" element of the system profile: the modem's model and device
// type.
#ifndef QZ_PROFILE_MODEMTAG_H
#define QZ_PROFILE_MODEMTAG_H

#include "messages/Tag.h"
#include "platform/MachineFacts.h"

namespace qz {

class ModemTag : public Tag {
 public:
  // Reads the facts from the platform.
  explicit ModemTag(bool fullData);
  explicit ModemTag(const DeviceInfo& info);
  ~ModemTag() override;

  // Nothing while both texts are empty.
  StringBuf& Write(StringBuf& out) override;

 protected:
  void WriteAttributes(StringBuf& out) override;

 private:
  DeviceInfo info;
};

}  // namespace qz

#endif  // QZ_PROFILE_MODEMTAG_H
