// The "memory" element of a performance probe: available system commit and
// this process's own, in MiB.
#ifndef QZ_MESSAGES_MEMORYUSETAG_H
#define QZ_MESSAGES_MEMORYUSETAG_H

#include "messages/Tag.h"
#include "platform/MachineFacts.h"

namespace qz {

class MemoryUseTag : public Tag {
 public:
  explicit MemoryUseTag(const MemoryUseInfo& use);
  ~MemoryUseTag() override;

  // Always written, zeros included.
  StringBuf& Write(StringBuf& out) override;

 protected:
  void WriteAttributes(StringBuf& out) override;

 private:
  MemoryUseInfo use;
};

}  // namespace qz

#endif  // QZ_MESSAGES_MEMORYUSETAG_H
