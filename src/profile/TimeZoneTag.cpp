#include "profile/TimeZoneTag.h"

#include "platform/Platform.h"

namespace qz {

TimeZoneTag::TimeZoneTag(bool fullData) { Platform::GetTimeZoneInfo(info, fullData); }

TimeZoneTag::TimeZoneTag(const TimeZoneInfo& info) : info(info) {}

TimeZoneTag::~TimeZoneTag() = default;

StringBuf& TimeZoneTag::Write(StringBuf& out) { return WriteElement(out, QZ_TEXT("time-zone")); }

void TimeZoneTag::WriteAttributes(StringBuf& out) {
  WriteAttribute(out, QZ_TEXT("zone"), info.offsetMinutes);
  WriteAttribute(out, QZ_TEXT("dst"), info.daylight);
}

}  // namespace qz
