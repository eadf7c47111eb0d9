#include "messages/SessionStop.h"

namespace qz {

SessionStop::SessionStop(const QZChar* session, const BinaryInfo* info, const ExtendedKeys* keys)
    : Message(session, info, keys) {}

SessionStop::~SessionStop() = default;

StringBuf& SessionStop::Write(StringBuf& out) { return WriteElement(out, QZ_TEXT("session-stop")); }

}  // namespace qz
