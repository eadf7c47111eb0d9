#include "messages/PerformanceProbe.h"

#include "platform/Platform.h"

namespace qz {

namespace {

MemoryUseInfo MeasureMemoryUse() {
  MemoryUseInfo use;
  Platform::GetMemoryUse(use);
  return use;
}

}  // namespace

PerformanceProbe::PerformanceProbe(const QZChar* name, const QZChar* session,
                                   const BinaryInfo* info, const ExtendedKeys* keys)
    : PerformanceProbe(name, session, info, keys, MeasureMemoryUse(), Platform::GetCpuLoad()) {}

PerformanceProbe::PerformanceProbe(const QZChar* name, const QZChar* session,
                                   const BinaryInfo* info, const ExtendedKeys* keys,
                                   const MemoryUseInfo& memoryUse, uint32_t cpuLoad)
    : Message(session, info, keys, name), memory(memoryUse), cpu(cpuLoad) {}

PerformanceProbe::~PerformanceProbe() = default;

StringBuf& PerformanceProbe::Write(StringBuf& out) {
  return WriteElement(out, QZ_TEXT("performance-probe"));
}

void PerformanceProbe::WriteAttributes(StringBuf& out) {
  Message::WriteAttributes(out);
  WriteOptionalAttribute(out, QZ_TEXT("name"), OwnText(0));
}

void PerformanceProbe::WriteChildren(StringBuf& out) {
  Message::WriteChildren(out);
  memory.Write(out);
  cpu.Write(out);
}

}  // namespace qz
