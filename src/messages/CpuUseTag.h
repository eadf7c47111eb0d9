// The "cpu" element of a performance probe: the average processor load in
// percent.
#ifndef QZ_MESSAGES_CPUUSETAG_H
#define QZ_MESSAGES_CPUUSETAG_H

#include <cstdint>

#include "messages/Tag.h"

namespace qz {

class CpuUseTag : public Tag {
 public:
  // 0 means unknown.
  explicit CpuUseTag(uint32_t utilization);
  ~CpuUseTag() override;

  // Writes nothing when the load is unknown.
  StringBuf& Write(StringBuf& out) override;

 protected:
  void WriteAttributes(StringBuf& out) override;

 private:
  uint32_t utilization;
};

}  // namespace qz

#endif  // QZ_MESSAGES_CPUUSETAG_H
