#include "profile/SystemProfile.h"

#include "platform/Platform.h"

namespace qz {

namespace {

template <typename TagType>
void WriteAll(TagList<TagType>& tags, StringBuf& out) {
  for (auto& tag : tags) tag->Write(out);
}

}  // namespace

SystemProfile::SystemProfile(const QZChar* session, const BinaryInfo* info,
                             const ExtendedKeys* keys, bool fullData, bool omitPersonalInfo)
    : Message(session, info, keys),
      memoryTag(fullData),
      domainTag(fullData, omitPersonalInfo),
      timeZoneTag(fullData),
      screenTag(fullData),
      videoTag(fullData),
      soundTag(fullData),
      modemTag(fullData),
      terminalServicesTag(fullData) {
  Platform::GetPowerState(powerState, fullData);
  Platform::GetSystemModel(systemModel, fullData);
  FillCpuTags(cpuTags, fullData);
  FillDiskTags(diskTags, fullData);
  FillNetworkTags(networkTags, fullData, omitPersonalInfo);
  FillPageFileTags(pageFileTags, fullData);
}

SystemProfile::~SystemProfile() = default;

StringBuf& SystemProfile::Write(StringBuf& out) {
  return WriteElement(out, QZ_TEXT("system-profile"));
}

void SystemProfile::WriteAttributes(StringBuf& out) {
  Message::WriteAttributes(out);
  WriteOptionalAttribute(out, QZ_TEXT("manufacturer"), systemModel.manufacturer);
  WriteOptionalAttribute(out, QZ_TEXT("model"), systemModel.model);
  WriteOptionalAttribute(out, QZ_TEXT("power-state"), powerState);
}

void SystemProfile::WriteChildren(StringBuf& out) {
  Message::WriteChildren(out);
  WriteAll(cpuTags, out);
  memoryTag.Write(out);
  WriteAll(diskTags, out);
  WriteAll(networkTags, out);
  domainTag.Write(out);
  timeZoneTag.Write(out);
  WriteAll(pageFileTags, out);
  screenTag.Write(out);
  videoTag.Write(out);
  soundTag.Write(out);
  modemTag.Write(out);
  terminalServicesTag.Write(out);
}

}  // namespace qz
