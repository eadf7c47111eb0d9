// The "session-stop" message.
#ifndef QZ_MESSAGES_SESSIONSTOP_H
#define QZ_MESSAGES_SESSIONSTOP_H

#include "messages/Message.h"

namespace qz {

class SessionStop : public Message {
 public:
  SessionStop(const QZChar* session, const BinaryInfo* info, const ExtendedKeys* keys);
  ~SessionStop() override;

  StringBuf& Write(StringBuf& out) override;
};

}  // namespace qz

#endif  // QZ_MESSAGES_SESSIONSTOP_H
