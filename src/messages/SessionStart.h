// The "session-start" message.
#ifndef QZ_MESSAGES_SESSIONSTART_H
#define QZ_MESSAGES_SESSIONSTART_H

#include "messages/Message.h"

namespace qz {

class SessionStart : public Message {
 public:
  SessionStart(const QZChar* session, const BinaryInfo* info, const ExtendedKeys* keys);
  ~SessionStart() override;

  StringBuf& Write(StringBuf& out) override;
};

}  // namespace qz

#endif  // QZ_MESSAGES_SESSIONSTART_H
