// The "time-zone" element: the standard offset from UTC in minutes, and
// whether daylight-saving time is in force.
#ifndef QZ_PROFILE_TIMEZONETAG_H
#define QZ_PROFILE_TIMEZONETAG_H

#include "messages/Tag.h"
#include "platform/MachineFacts.h"

namespace qz {

class TimeZoneTag : public Tag {
 public:
  // Reads the facts from the platform.
  explicit TimeZoneTag(bool fullData);
  explicit TimeZoneTag(const TimeZoneInfo& info);
  ~TimeZoneTag() override;

  StringBuf& Write(StringBuf& out) override;

 protected:
  void WriteAttributes(StringBuf& out) override;

 private:
  TimeZoneInfo info;
};

}  // namespace qz

#endif  // QZ_PROFILE_TIMEZONETAG_H
