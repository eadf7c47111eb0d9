#include "profile/TerminalServicesTag.h"

#include "platform/Platform.h"

namespace qz {

TerminalServicesTag::TerminalServicesTag(bool fullData) {
  Platform::GetTerminalServicesInfo(info, fullData);
}

TerminalServicesTag::TerminalServicesTag(const TerminalServicesInfo& info) { this->info = info; }

TerminalServicesTag::~TerminalServicesTag() = default;

StringBuf& TerminalServicesTag::Write(StringBuf& out) {
  const bool modeRead = info.mode != TerminalServicesInfo::MODE_UNKNOWN;
  if (!info.connectionsAllowed && info.licensingName.StrLen() == 0 && !modeRead) return out;
  return WriteElement(out, QZ_TEXT("terminal-services"));
}

void TerminalServicesTag::WriteAttributes(StringBuf& out) {
  if (info.connectionsAllowed) WriteAttribute(out, QZ_TEXT("connections-allowed"), true);
  WriteOptionalAttribute(out, QZ_TEXT("licensing-name"), info.licensingName);
  if (info.mode != TerminalServicesInfo::MODE_UNKNOWN) {
    WriteAttribute(out, QZ_TEXT("mode"), info.mode);
  }
}

}  // namespace qz
