// The "cpu" element of the system profile: one processor's name, maker,
// address width and clock speeds.
#ifndef QZ_PROFILE_CPUTAG_H
#define QZ_PROFILE_CPUTAG_H

#include <memory>

#include "messages/Tag.h"
#include "platform/MachineFacts.h"
#include "profile/TagList.h"

namespace qz {

class CpuTag : public Tag {
 public:
  explicit CpuTag(std::unique_ptr<CpuInfo> info);
  ~CpuTag() override;

  StringBuf& Write(StringBuf& out) override;

 protected:
  void WriteAttributes(StringBuf& out) override;

 private:
  std::unique_ptr<CpuInfo> info;
};

// Empties list and fills it with one tag per processor the platform reports
// (none without full data).
void FillCpuTags(TagList<CpuTag>& list, bool fullData);
// The same from records already read, which the tags take over.
void FillCpuTags(TagList<CpuTag>& list, FactList<CpuInfo> records);

}  // namespace qz

#endif  // QZ_PROFILE_CPUTAG_H
