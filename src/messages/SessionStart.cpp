#include "messages/SessionStart.h"

namespace qz {

SessionStart::SessionStart(const QZChar* session, const BinaryInfo* info, const ExtendedKeys* keys)
    : Message(session, info, keys) {}

SessionStart::~SessionStart() = default;

StringBuf& SessionStart::Write(StringBuf& out) {
  return WriteElement(out, QZ_TEXT("session-start"));
}

}  // namespace qz
