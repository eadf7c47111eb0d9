#include "messages/HostTag.h"

namespace qz {

HostTag::HostTag(bool, bool) {}

HostTag::~HostTag() = default;

StringBuf& HostTag::Write(StringBuf& out) { return out; }

}  // namespace qz
