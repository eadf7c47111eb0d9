// The "memory" element of the system profile: total physical memory and the
// installed modules' capacity in MiB, and the fastest module's speed.
#ifndef QZ_PROFILE_MEMORYTAG_H
#define QZ_PROFILE_MEMORYTAG_H

#include "messages/Tag.h"
#include "platform/MachineFacts.h"

namespace qz {

class MemoryTag : public Tag {
 public:
  // Reads the facts from the platform.
  explicit MemoryTag(bool fullData);
  explicit MemoryTag(const MemoryInfo& info);
  ~MemoryTag() override;

  // Nothing while all three numbers are 0 (always so without full data).
  StringBuf& Write(StringBuf& out) override;

 protected:
  void WriteAttributes(StringBuf& out) override;

 private:
  MemoryInfo info;
};

}  // namespace qz

#endif  // QZ_PROFILE_MEMORYTAG_H
