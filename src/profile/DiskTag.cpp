#include "profile/DiskTag.h"

#include <utility>

#include "platform/Platform.h"

namespace qz {

DiskTag::DiskTag(std::unique_ptr<DiskInfo> info) : info(std::move(info)) {}

DiskTag::~DiskTag() = default;

StringBuf& DiskTag::Write(StringBuf& out) { return WriteElement(out, QZ_TEXT("disk")); }

void DiskTag::WriteAttributes(StringBuf& out) {
  // A drive without media is still listed, with size and free space 0.
  WriteAttribute(out, QZ_TEXT("name"), info->name);
  WriteAttribute(out, QZ_TEXT("size"), info->sizeMB);
  WriteAttribute(out, QZ_TEXT("free"), info->freeMB);
  WriteOptionalAttribute(out, QZ_TEXT("fstype"), info->fileSystem);
  WriteOptionalAttribute(out, QZ_TEXT("serial"), info->serial);
}

void FillDiskTags(TagList<DiskTag>& list, bool fullData) {
  FactList<DiskInfo> records;
  Platform::GetDisks(records, fullData);
  FillDiskTags(list, std::move(records));
}

void FillDiskTags(TagList<DiskTag>& list, FactList<DiskInfo> records) {
  WrapRecords(list, std::move(records));
}

}  // namespace qz
