// The "host" element: the machine the application runs on, with its "os"
// element inside. Shared by the application messages of a run, which only
// point at it.
#ifndef QZ_MESSAGES_HOSTTAG_H
#define QZ_MESSAGES_HOSTTAG_H

#include "messages/Tag.h"
#include "platform/MachineFacts.h"
#include "profile/OsTag.h"

namespace qz {

class HostTag : public Tag {
 public:
  // Reads the host and operating-system facts from the platform.
  HostTag(bool fullData, bool omitPersonalInfo);
  HostTag(const HostInfo& host, const OsInfo& os);
  ~HostTag() override;

  StringBuf& Write(StringBuf& out) override;

 protected:
  void WriteAttributes(StringBuf& out) override;
  // Always: the os element is always written.
  bool HasChildren() override { return true; }
  void WriteChildren(StringBuf& out) override;

 private:
  HostInfo info;
  OsTag os;
};

}  // namespace qz

#endif  // QZ_MESSAGES_HOSTTAG_H
