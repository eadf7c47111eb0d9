#include "messages/ApplicationMessage.h"

#include "messages/HostTag.h"
#include "messages/UserTag.h"

namespace qz {

ApplicationMessage::ApplicationMessage(const QZChar* session, const BinaryInfo* info,
                                       const ExtendedKeys* keys, HostTag* host, UserTag* user)
    : Message(session, info, keys), host(host), user(user) {}

ApplicationMessage::~ApplicationMessage() {
  host = nullptr;
  user = nullptr;
}

void ApplicationMessage::WriteChildren(StringBuf& out) {
  Message::WriteChildren(out);
  if (host != nullptr) host->Write(out);
  if (user != nullptr) user->Write(out);
}

}  // namespace qz
