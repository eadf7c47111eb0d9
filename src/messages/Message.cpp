#include "messages/Message.h"

#include "messages/PropertyLines.h"
#include "platform/Platform.h"

namespace qz {

Message::Message(const QZChar* session, const BinaryInfo* info, const ExtendedKeys* keys) {
  Platform::NewGUID(id);
  Platform::GetTimeString(generated);
  sessionID = session;
  sessionID.ToUpperCase();
  binaryTag.Fill(info);
  AppendPropertyLines(properties, keys);
}

Message::~Message() = default;

void Message::WriteAttributes(StringBuf& out) {
  WriteAttribute(out, QZ_TEXT("generated"), generated);
  WriteAttribute(out, QZ_TEXT("id"), id);
  WriteAttribute(out, QZ_TEXT("session"), sessionID);
}

bool Message::HasChildren() { return binaryTag.HasContent() || properties.StrLen() != 0; }

void Message::WriteChildren(StringBuf& out) {
  binaryTag.Write(out);
  out.Append(properties);
}

}  // namespace qz
