#include "messages/FeatureMark.h"

#include "delivery/ThreadID.h"

namespace qz {

FeatureMark::FeatureMark(const QZChar* name, ThreadID* threadID, const QZChar* group)
    : name(name), threadID(threadID), group(group) {}

FeatureMark::~FeatureMark() { delete threadID; }

}  // namespace qz
