// The "disk" element of the system profile: one drive's name, size and free
// space in MiB, with its file system and serial number when known.
#ifndef QZ_PROFILE_DISKTAG_H
#define QZ_PROFILE_DISKTAG_H

#include <memory>

#include "messages/Tag.h"
#include "platform/MachineFacts.h"
#include "profile/TagList.h"

namespace qz {

class DiskTag : public Tag {
 public:
  explicit DiskTag(std::unique_ptr<DiskInfo> info);
  ~DiskTag() override;

  StringBuf& Write(StringBuf& out) override;

 protected:
  void WriteAttributes(StringBuf& out) override;

 private:
  std::unique_ptr<DiskInfo> info;
};

// Empties list and fills it with one tag per drive the platform reports.
void FillDiskTags(TagList<DiskTag>& list, bool fullData);
// The same from records already read, which the tags take over.
void FillDiskTags(TagList<DiskTag>& list, FactList<DiskInfo> records);

}  // namespace qz

#endif  // QZ_PROFILE_DISKTAG_H
