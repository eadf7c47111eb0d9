// The "page-file" element of the system profile: one page file's name and
// its initial and largest size in megabytes.
#ifndef QZ_PROFILE_PAGEFILETAG_H
#define QZ_PROFILE_PAGEFILETAG_H

#include <memory>

#include "messages/Tag.h"
#include "platform/MachineFacts.h"
#include "profile/TagList.h"

namespace qz {

class PageFileTag : public Tag {
 public:
  explicit PageFileTag(std::unique_ptr<PageFileInfo> info);
  ~PageFileTag() override;

  StringBuf& Write(StringBuf& out) override;

 protected:
  void WriteAttributes(StringBuf& out) override;

 private:
  std::unique_ptr<PageFileInfo> info;
};

// Empties list and fills it with one tag per page file the platform reports;
// a row with neither a name nor a size is left out.
void FillPageFileTags(TagList<PageFileTag>& list, bool fullData);
// The same from records already read, which the tags take over.
void FillPageFileTags(TagList<PageFileTag>& list, FactList<PageFileInfo> records);

}  // namespace qz

#endif  // QZ_PROFILE_PAGEFILETAG_H
