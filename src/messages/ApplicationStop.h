// The "app-stop" message.
#ifndef QZ_MESSAGES_APPLICATIONSTOP_H
#define QZ_MESSAGES_APPLICATIONSTOP_H

#include "messages/ApplicationMessage.h"

namespace qz {

class ApplicationStop : public ApplicationMessage {
 public:
  ApplicationStop(const QZChar* session, const BinaryInfo* info, const ExtendedKeys* keys,
                  HostTag* host, UserTag* user);
  ~ApplicationStop() override;

  StringBuf& Write(StringBuf& out) override;
};

}  // namespace qz

#endif  // QZ_MESSAGES_APPLICATIONSTOP_H
