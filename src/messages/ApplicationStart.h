// The "app-start" message.
#ifndef QZ_MESSAGES_APPLICATIONSTART_H
#define QZ_MESSAGES_APPLICATIONSTART_H

#include "messages/ApplicationMessage.h"

namespace qz {

class ApplicationStart : public ApplicationMessage {
 public:
  ApplicationStart(const QZChar* session, const BinaryInfo* info, const ExtendedKeys* keys,
                   HostTag* host, UserTag* user);
  ~ApplicationStart() override;

  StringBuf& Write(StringBuf& out) override;
};

}  // namespace qz

#endif  // QZ_MESSAGES_APPLICATIONSTART_H
