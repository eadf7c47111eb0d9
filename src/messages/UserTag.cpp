#include "messages/UserTag.h"

#include "platform/Platform.h"

namespace qz {

UserTag::UserTag(bool fullData, bool omitPersonalInfo) {
  Platform::GetUserInfo(info, fullData, omitPersonalInfo);
}

UserTag::UserTag(const UserInfo& user) { info = user; }

UserTag::~UserTag() = default;

StringBuf& UserTag::Write(StringBuf& out) { return WriteElement(out, QZ_TEXT("user")); }

void UserTag::WriteAttributes(StringBuf& out) {
  WriteAttribute(out, QZ_TEXT("name"), info.name);
  if (info.admin) WriteAttribute(out, QZ_TEXT("admin"), true);
}

}  // namespace qz
