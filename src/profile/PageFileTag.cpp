#include "profile/PageFileTag.h"

#include <utility>

#include "platform/Platform.h"

namespace qz {

namespace {

bool SaysSomething(const PageFileInfo& file) {
  return file.name.StrLen() > 0 || file.initialSize != 0 || file.maximumSize != 0;
}

}  // namespace

PageFileTag::PageFileTag(std::unique_ptr<PageFileInfo> info) : info(std::move(info)) {}

PageFileTag::~PageFileTag() = default;

StringBuf& PageFileTag::Write(StringBuf& out) { return WriteElement(out, QZ_TEXT("page-file")); }

void PageFileTag::WriteAttributes(StringBuf& out) {
  WriteOptionalAttribute(out, QZ_TEXT("name"), info->name);
  WriteOptionalAttribute(out, QZ_TEXT("initial"), info->initialSize);
  WriteOptionalAttribute(out, QZ_TEXT("max"), info->maximumSize);
}

void FillPageFileTags(TagList<PageFileTag>& list, bool fullData) {
  FactList<PageFileInfo> records;
  Platform::GetPageFiles(records, fullData);
  FillPageFileTags(list, std::move(records));
}

void FillPageFileTags(TagList<PageFileTag>& list, FactList<PageFileInfo> records) {
  WrapRecords(list, std::move(records), &SaysSomething);
}

}  // namespace qz
