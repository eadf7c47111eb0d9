// Profile elements that come one per platform record (processors, disks,
// network adapters, page files): each tag owns its record, the list its tags.
#ifndef QZ_PROFILE_TAGLIST_H
#define QZ_PROFILE_TAGLIST_H

#include <memory>
#include <utility>
#include <vector>

#include "platform/MachineFacts.h"

namespace qz {

template <typename TagType>
using TagList = std::vector<std::unique_ptr<TagType>>;

// Empties tags, then wraps every record that keep accepts (all when keep is
// null) in a new tag, in the platform's order. The records left out are
// destroyed with records.
template <typename TagType, typename Record>
void WrapRecords(TagList<TagType>& tags, FactList<Record> records,
                 bool (*keep)(const Record&) = nullptr) {
  tags.clear();
  for (std::unique_ptr<Record>& record : records) {
    if (record == nullptr || (keep != nullptr && !keep(*record))) continue;
    tags.push_back(std::make_unique<TagType>(std::move(record)));
  }
}

}  // namespace qz

#endif  // QZ_PROFILE_TAGLIST_H
