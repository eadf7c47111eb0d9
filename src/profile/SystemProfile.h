// The "system-profile" message: the machine the host runs on, read whole on
// the calling thread when the message is built.
#ifndef QZ_PROFILE_SYSTEMPROFILE_H
#define QZ_PROFILE_SYSTEMPROFILE_H

#include "messages/Message.h"
#include "profile/CpuTag.h"
#include "profile/DiskTag.h"
#include "profile/DomainTag.h"
#include "profile/MemoryTag.h"
#include "profile/ModemTag.h"
#include "profile/NetworkTag.h"
#include "profile/PageFileTag.h"
#include "profile/ScreenTag.h"
#include "profile/SoundTag.h"
#include "profile/TerminalServicesTag.h"
#include "profile/TimeZoneTag.h"
#include "profile/VideoTag.h"

namespace qz {

class SystemProfile : public Message {
 public:
  // Slow: with full data it runs a dozen WMI queries on Windows. Nothing is
  // kept from one profile to the next.
  SystemProfile(const QZChar* session, const BinaryInfo* info, const ExtendedKeys* keys,
                bool fullData, bool omitPersonalInfo);
  ~SystemProfile() override;

  StringBuf& Write(StringBuf& out) override;

 protected:
  void WriteAttributes(StringBuf& out) override;
  // Always, even when no element has anything to say.
  bool HasChildren() override { return true; }
  void WriteChildren(StringBuf& out) override;

 private:
  // The member tags read their facts as they are constructed; the body of
  // the constructor reads the rest.
  StringBuf powerState;
  SystemModelInfo systemModel;
  TagList<CpuTag> cpuTags;
  MemoryTag memoryTag;
  TagList<DiskTag> diskTags;
  TagList<NetworkTag> networkTags;
  DomainTag domainTag;
  TimeZoneTag timeZoneTag;
  TagList<PageFileTag> pageFileTags;
  ScreenTag screenTag;
  VideoTag videoTag;
  SoundTag soundTag;
  ModemTag modemTag;
  TerminalServicesTag terminalServicesTag;
};

}  // namespace qz

#endif  // QZ_PROFILE_SYSTEMPROFILE_H
