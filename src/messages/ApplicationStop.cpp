#include "messages/ApplicationStop.h"

namespace qz {

ApplicationStop::ApplicationStop(const QZChar* session, const BinaryInfo* info,
                                 const ExtendedKeys* keys, HostTag* host, UserTag* user)
    : ApplicationMessage(session, info, keys, host, user) {}

ApplicationStop::~ApplicationStop() = default;

StringBuf& ApplicationStop::Write(StringBuf& out) {
  return WriteElement(out, QZ_TEXT("app-stop"));
}

}  // namespace qz
