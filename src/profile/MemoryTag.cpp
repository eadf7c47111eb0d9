#include "profile/MemoryTag.h"

#include "platform/Platform.h"

namespace qz {

MemoryTag::MemoryTag(bool fullData) { Platform::GetMemoryInfo(info, fullData); }

MemoryTag::MemoryTag(const MemoryInfo& info) : info(info) {}

MemoryTag::~MemoryTag() = default;

StringBuf& MemoryTag::Write(StringBuf& out) {
  if (info.totalMB == 0 && info.capacityMB == 0 && info.speed == 0) return out;
  return WriteElement(out, QZ_TEXT("memory"));
}

void MemoryTag::WriteAttributes(StringBuf& out) {
  WriteOptionalAttribute(out, QZ_TEXT("total"), info.totalMB);
  WriteOptionalAttribute(out, QZ_TEXT("capacity"), info.capacityMB);
  WriteOptionalAttribute(out, QZ_TEXT("speed"), info.speed);
}

}  // namespace qz
