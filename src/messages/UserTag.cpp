#include "messages/UserTag.h"

namespace qz {

UserTag::UserTag(bool, bool) {}

UserTag::~UserTag() = default;

StringBuf& UserTag::Write(StringBuf& out) { return out; }

}  // namespace qz
