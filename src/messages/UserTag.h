// The "user" element: who runs the application. Shared by the application
// messages of a run, which only point at it.
#ifndef QZ_MESSAGES_USERTAG_H
#define QZ_MESSAGES_USERTAG_H

#include "messages/Tag.h"

namespace qz {

class UserTag : public Tag {
 public:
  UserTag(bool fullData, bool omitPersonalInfo);
  ~UserTag() override;

  // Writes nothing until the user facts are available.
  StringBuf& Write(StringBuf& out) override;
};

}  // namespace qz

#endif  // QZ_MESSAGES_USERTAG_H
