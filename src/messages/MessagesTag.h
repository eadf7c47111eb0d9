// The batch envelope: one "messages" element carrying the run's identity once
// for all the messages inside it.
#ifndef QZ_MESSAGES_MESSAGESTAG_H
#define QZ_MESSAGES_MESSAGESTAG_H

#include "messages/Message.h"
#include "messages/Tag.h"

namespace qz {

class Configuration;

class MessagesTag : public Tag {
 public:
  // Copies the identity from configuration now; later changes are not seen.
  explicit MessagesTag(const Configuration* configuration);
  ~MessagesTag() override;

  // Appends one whole batch; an empty or null list appends nothing. Every
  // call gets a new batch id and the current time as "sent".
  StringBuf& WriteBatch(StringBuf& out, const MessageList* messages);
  StringBuf& WriteBatch(StringBuf& out, const MessageList& messages) {
    return WriteBatch(out, &messages);
  }

  // Only WriteBatch writes the envelope.
  StringBuf& Write(StringBuf& out) override { return out; }

  // The envelope's first two attributes, the XML schema namespace and the
  // schema's location; stored batches are sent with the same.
  static void WriteSchemaAttributes(StringBuf& out);

 protected:
  void WriteAttributes(StringBuf& out) override;
  bool HasChildren() override { return true; }

 private:
  StringBuf messageGroup;
  StringBuf header;  // company and application lines
};

}  // namespace qz

#endif  // QZ_MESSAGES_MESSAGESTAG_H
