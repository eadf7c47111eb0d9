// Common base of app-start and app-stop: they also describe host and user.
#ifndef QZ_MESSAGES_APPLICATIONMESSAGE_H
#define QZ_MESSAGES_APPLICATIONMESSAGE_H

#include "messages/Message.h"

namespace qz {

class HostTag;
class UserTag;

class ApplicationMessage : public Message {
 public:
  // host and user are not owned; the run keeps them alive longer than any
  // application message.
  ~ApplicationMessage() override;

 protected:
  ApplicationMessage(const QZChar* session, const BinaryInfo* info, const ExtendedKeys* keys,
                     HostTag* host, UserTag* user);

  bool HasChildren() override { return true; }
  void WriteChildren(StringBuf& out) override;

 private:
  HostTag* host;
  UserTag* user;
};

}  // namespace qz

#endif  // QZ_MESSAGES_APPLICATIONMESSAGE_H
