#include "offline/OfflineDataMessagesTag.h"

#include "messages/ApplicationTag.h"
#include "messages/CompanyTag.h"
#include "messages/MessagesTag.h"
#include "offline/OfflineData.h"
#include "platform/Platform.h"

namespace qz {

OfflineDataMessagesTag::OfflineDataMessagesTag() : protocol(0) {}

OfflineDataMessagesTag::~OfflineDataMessagesTag() = default;

StringBuf& OfflineDataMessagesTag::WriteStoredBatch(StringBuf& out, const OfflineData& data) {
  if (data.GetMessagesText().StrLen() == 0) return out;
  messageGroup = data.GetMessageGroup();
  protocol = data.GetProtocol();
  out.Append(QZ_TEXT("<messages"));
  WriteAttributes(out);
  out.Append(QZ_TEXT(">\n"));
  CompanyTag company(data.GetCompanyID(), data.GetCompanyName());
  company.Write(out);
  ApplicationTag application(data.GetApplicationID(), data.GetApplicationName(),
                             data.GetApplicationVersion(), data.GetApplicationType(),
                             data.GetApplicationInstanceID());
  application.Write(out);
  out.Append(data.GetMessagesText());
  out.Append(QZ_TEXT("</messages>\n"));
  return out;
}

void OfflineDataMessagesTag::WriteAttributes(StringBuf& out) {
  StringBuf batchID;
  Platform::NewGUID(batchID);
  StringBuf sent;
  Platform::GetTimeString(sent);
  MessagesTag::WriteSchemaAttributes(out);
  WriteAttribute(out, QZ_TEXT("protocol"), protocol);
  WriteAttribute(out, QZ_TEXT("id"), batchID);
  WriteAttribute(out, QZ_TEXT("message-group"), messageGroup);
  WriteAttribute(out, QZ_TEXT("sent"), sent);
}

}  // namespace qz
