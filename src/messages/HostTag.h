// The "host" element: the machine the application runs on. Shared by the
// application messages of a run, which only point at it.
#ifndef QZ_MESSAGES_HOSTTAG_H
#define QZ_MESSAGES_HOSTTAG_H

#include "messages/Tag.h"

namespace qz {

class HostTag : public Tag {
 public:
  HostTag(bool fullData, bool omitPersonalInfo);
  ~HostTag() override;

  // Writes nothing until the machine facts are available.
  StringBuf& Write(StringBuf& out) override;
};

}  // namespace qz

#endif  // QZ_MESSAGES_HOSTTAG_H
