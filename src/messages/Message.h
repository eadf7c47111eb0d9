// Base of every message kind: one XML element per host event, stamped with
// its own id, the time it was built and the session it belongs to.
#ifndef QZ_MESSAGES_MESSAGE_H
#define QZ_MESSAGES_MESSAGE_H

#include <vector>

#include "messages/Tag.h"

namespace qz {

class BinaryInfo;
class ExtendedKeys;

class Message : public Tag {
 public:
  ~Message() override;

  // Fixed at construction, never at sending.
  const QZChar* GetID() const { return text.ToString(); }
  const QZChar* GetGenerated() const { return text.ToString() + generatedAt; }
  const QZChar* GetSessionID() const { return text.ToString() + sessionAt; }
  // About the characters Write appends, for sizing a batch: the message's
  // texts and room for the markup around them (kinds that write more
  // children than the binary and property lines write more).
  uint64_t WrittenLengthHint() const { return text.StrLen() + 160; }

 protected:
  // Copies what it needs from info and keys; neither is kept. A null
  // session gives an empty one. ownFirst and ownSecond are texts of the
  // kind's own, kept with the message's (OwnText); null keeps an empty text.
  Message(const QZChar* session, const BinaryInfo* info, const ExtendedKeys* keys,
          const QZChar* ownFirst = nullptr, const QZChar* ownSecond = nullptr);

  // The kind's own text given to the constructor: 0 for the first, 1 for the second.
  const QZChar* OwnText(int index) const { return text.ToString() + ownAt[index]; }

  void WriteAttributes(StringBuf& out) override;
  bool HasChildren() override;
  void WriteChildren(StringBuf& out) override;

 private:
  // With the lengths of the texts, measured once.
  Message(const QZChar* session, uint64_t sessionLength, const BinaryInfo* info,
          const ExtendedKeys* keys, const QZChar* ownFirst, uint64_t firstLength,
          const QZChar* ownSecond, uint64_t secondLength);

  // Every text of the message in one buffer, sized before it is filled, so
  // that the host's thread pays one allocation for all of them: the id, the
  // time, the session and the kind's own texts, each ended by a NUL, then the
  // finished children (the binary line and the property lines).
  StringBuf text;
  uint64_t generatedAt = 0;
  uint64_t sessionAt = 0;
  uint64_t ownAt[2] = {0, 0};
  uint64_t childrenAt = 0;
};

// Messages of one batch, oldest first. Whoever holds the list owns the messages.
typedef std::vector<Message*> MessageList;

}  // namespace qz

#endif  // QZ_MESSAGES_MESSAGE_H
