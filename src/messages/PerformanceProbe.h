// The "performance-probe" message: a named snapshot of memory and processor
// use, measured once while the message is built on the caller's thread.
#ifndef QZ_MESSAGES_PERFORMANCEPROBE_H
#define QZ_MESSAGES_PERFORMANCEPROBE_H

#include "messages/CpuUseTag.h"
#include "messages/MemoryUseTag.h"
#include "messages/Message.h"
#include "platform/MachineFacts.h"

namespace qz {

class PerformanceProbe : public Message {
 public:
  // Measures memory and processor use now, through the platform.
  PerformanceProbe(const QZChar* name, const QZChar* session, const BinaryInfo* info,
                   const ExtendedKeys* keys);
  // With measurements already taken.
  PerformanceProbe(const QZChar* name, const QZChar* session, const BinaryInfo* info,
                   const ExtendedKeys* keys, const MemoryUseInfo& memoryUse, uint32_t cpuLoad);
  ~PerformanceProbe() override;

  StringBuf& Write(StringBuf& out) override;

 protected:
  void WriteAttributes(StringBuf& out) override;
  // Always: the memory element is always written.
  bool HasChildren() override { return true; }
  void WriteChildren(StringBuf& out) override;

 private:
  MemoryUseTag memory;
  CpuUseTag cpu;
};

}  // namespace qz

#endif  // QZ_MESSAGES_PERFORMANCEPROBE_H
