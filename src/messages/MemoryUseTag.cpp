#include "messages/MemoryUseTag.h"

namespace qz {

MemoryUseTag::MemoryUseTag(const MemoryUseInfo& use) : use(use) {}

MemoryUseTag::~MemoryUseTag() = default;

StringBuf& MemoryUseTag::Write(StringBuf& out) { return WriteElement(out, QZ_TEXT("memory")); }

void MemoryUseTag::WriteAttributes(StringBuf& out) {
  WriteAttribute(out, QZ_TEXT("available"), use.availableMB);
  WriteAttribute(out, QZ_TEXT("used"), use.usedMB);
}

}  // namespace qz
