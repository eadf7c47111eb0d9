#include "messages/MessagesTag.h"

#include "messages/ApplicationTag.h"
#include "messages/CompanyTag.h"
#include "platform/Platform.h"
#include "qz/Configuration.h"

#ifndef QZ_SCHEMA_HOST_TEXT
#define QZ_SCHEMA_HOST_TEXT "localhost:8443"
#endif

namespace qz {

MessagesTag::MessagesTag(const Configuration* configuration) {
  if (configuration == nullptr) return;
  messageGroup = configuration->GetMessageGroup();
  CompanyTag company(configuration->GetCompanyID(), configuration->GetCompanyName());
  company.Write(header);
  ApplicationTag application(configuration->GetApplicationID(),
                             configuration->GetApplicationName(),
                             configuration->GetApplicationVersion(),
                             configuration->GetApplicationType(),
                             configuration->GetApplicationInstanceID());
  application.Write(header);
}

MessagesTag::~MessagesTag() = default;

StringBuf& MessagesTag::WriteBatch(StringBuf& out, const MessageList* messages) {
  if (messages == nullptr || messages->empty()) return out;
  out.Append(QZ_TEXT("<messages"));
  WriteAttributes(out);
  out.Append(QZ_TEXT(">\n"));
  out.Append(header);
  for (Message* message : *messages) {
    if (message != nullptr) message->Write(out);
  }
  out.Append(QZ_TEXT("</messages>\n"));
  return out;
}

void MessagesTag::WriteSchemaAttributes(StringBuf& out) {
  StringBuf schema(64);
  schema.Append("http://").Append(QZ_SCHEMA_HOST_TEXT).Append("/services/messaging");
  WriteAttribute(out, QZ_TEXT("xmlns:xsi"), QZ_TEXT("http://www.w3.org/2001/XMLSchema-instance"));
  WriteAttribute(out, QZ_TEXT("xsi:noNamespaceSchemaLocation"), schema);
}

void MessagesTag::WriteAttributes(StringBuf& out) {
  PlatformInfo platform;
  Platform::GetPlatformInfo(platform);
  StringBuf batchID;
  Platform::NewGUID(batchID);
  StringBuf sent;
  Platform::GetTimeString(sent);

  WriteSchemaAttributes(out);
  WriteAttribute(out, QZ_TEXT("protocol"), int32_t(3));
  WriteAttribute(out, QZ_TEXT("agent-name"), platform.name);
  WriteAttribute(out, QZ_TEXT("agent-version"), platform.version);
  WriteAttribute(out, QZ_TEXT("id"), batchID);
  WriteAttribute(out, QZ_TEXT("message-group"), messageGroup);
  WriteAttribute(out, QZ_TEXT("sent"), sent);
}

}  // namespace qz
