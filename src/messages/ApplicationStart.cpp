#include "messages/ApplicationStart.h"

namespace qz {

ApplicationStart::ApplicationStart(const QZChar* session, const BinaryInfo* info,
                                   const ExtendedKeys* keys, HostTag* host, UserTag* user)
    : ApplicationMessage(session, info, keys, host, user) {}

ApplicationStart::~ApplicationStart() = default;

StringBuf& ApplicationStart::Write(StringBuf& out) {
  return WriteElement(out, QZ_TEXT("app-start"));
}

}  // namespace qz
