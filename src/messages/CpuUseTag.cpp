#include "messages/CpuUseTag.h"

namespace qz {

CpuUseTag::CpuUseTag(uint32_t utilization) : utilization(utilization) {}

CpuUseTag::~CpuUseTag() = default;

StringBuf& CpuUseTag::Write(StringBuf& out) {
  if (utilization == 0) return out;
  return WriteElement(out, QZ_TEXT("cpu"));
}

void CpuUseTag::WriteAttributes(StringBuf& out) {
  WriteOptionalAttribute(out, QZ_TEXT("utilization"), utilization);
}

}  // namespace qz
