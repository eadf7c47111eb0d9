// The "messages" envelope of a stored batch, rebuilt from its record when the
// batch is sent. Unlike a live batch's it names no agent: the endpoint tells
// stored batches by that and by the " offline" platform header.
#ifndef QZ_OFFLINE_OFFLINEDATAMESSAGESTAG_H
#define QZ_OFFLINE_OFFLINEDATAMESSAGESTAG_H

#include <cstdint>

#include "messages/Tag.h"

namespace qz {

class OfflineData;

class OfflineDataMessagesTag : public Tag {
 public:
  OfflineDataMessagesTag();
  ~OfflineDataMessagesTag() override;

  // Appends the whole batch of a record just read: the envelope with a new
  // batch id and the current time as "sent", the company and application
  // elements of the record, and its messages unchanged. A record without
  // messages appends nothing.
  StringBuf& WriteStoredBatch(StringBuf& out, const OfflineData& data);

  // Only WriteStoredBatch writes the envelope.
  StringBuf& Write(StringBuf& out) override { return out; }

 protected:
  void WriteAttributes(StringBuf& out) override;
  bool HasChildren() override { return true; }

 private:
  StringBuf messageGroup;
  uint32_t protocol;
};

}  // namespace qz

#endif  // QZ_OFFLINE_OFFLINEDATAMESSAGESTAG_H
