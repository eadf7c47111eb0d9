#include "profile/CpuTag.h"

#include <utility>

#include "platform/Platform.h"

namespace qz {

CpuTag::CpuTag(std::unique_ptr<CpuInfo> info) : info(std::move(info)) {}

CpuTag::~CpuTag() = default;

StringBuf& CpuTag::Write(StringBuf& out) { return WriteElement(out, QZ_TEXT("cpu")); }

void CpuTag::WriteAttributes(StringBuf& out) {
  WriteOptionalAttribute(out, QZ_TEXT("name"), info->name);
  WriteOptionalAttribute(out, QZ_TEXT("manufacturer"), info->manufacturer);
  WriteOptionalAttribute(out, QZ_TEXT("model"), info->model);
  WriteOptionalAttribute(out, QZ_TEXT("address-width"), info->addressWidth);
  WriteOptionalAttribute(out, QZ_TEXT("speed"), info->currentSpeed);
  WriteOptionalAttribute(out, QZ_TEXT("max-speed"), info->maxSpeed);
}

void FillCpuTags(TagList<CpuTag>& list, bool fullData) {
  FactList<CpuInfo> records;
  Platform::GetProcessors(records, fullData);
  FillCpuTags(list, std::move(records));
}

void FillCpuTags(TagList<CpuTag>& list, FactList<CpuInfo> records) {
  WrapRecords(list, std::move(records));
}

}  // namespace qz
