// Base of every message kind: one XML element per host event, stamped with
// its own id, the time it was built and the session it belongs to.
#ifndef QZ_MESSAGES_MESSAGE_H
#define QZ_MESSAGES_MESSAGE_H

#include <vector>

#include "messages/BinaryTag.h"
#include "messages/Tag.h"

namespace qz {

class BinaryInfo;
class ExtendedKeys;

class Message : public Tag {
 public:
  ~Message() override;

  // Fixed at construction, never at sending.
  const StringBuf& GetID() const { return id; }
  const StringBuf& GetGenerated() const { return generated; }
  const StringBuf& GetSessionID() const { return sessionID; }

 protected:
  // Copies what it needs from info and keys; neither is kept. A null
  // session gives an empty one.
  Message(const QZChar* session, const BinaryInfo* info, const ExtendedKeys* keys);

  void WriteAttributes(StringBuf& out) override;
  bool HasChildren() override;
  void WriteChildren(StringBuf& out) override;

 private:
  StringBuf id;
  StringBuf generated;
  StringBuf sessionID;
  BinaryTag binaryTag;
  StringBuf properties;  // finished, escaped property lines
};

// Messages of one batch, oldest first. Whoever holds the list owns the messages.
typedef std::vector<Message*> MessageList;

}  // namespace qz

#endif  // QZ_MESSAGES_MESSAGE_H
