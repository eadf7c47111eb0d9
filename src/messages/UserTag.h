// The "user" element: who runs the application, as an anonymous identifier.
// Shared by the application messages of a run, which only point at it.
#ifndef QZ_MESSAGES_USERTAG_H
#define QZ_MESSAGES_USERTAG_H

#include "messages/Tag.h"
#include "platform/MachineFacts.h"

namespace qz {

class UserTag : public Tag {
 public:
  // Reads the user facts from the platform.
  UserTag(bool fullData, bool omitPersonalInfo);
  explicit UserTag(const UserInfo& user);
  ~UserTag() override;

  StringBuf& Write(StringBuf& out) override;

 protected:
  void WriteAttributes(StringBuf& out) override;

 private:
  UserInfo info;
};

}  // namespace qz

#endif  // QZ_MESSAGES_USERTAG_H
