// The "network" element of the system profile: one network adapter's
// address, hardware address, speeds and whether DHCP configures it.
#ifndef QZ_PROFILE_NETWORKTAG_H
#define QZ_PROFILE_NETWORKTAG_H

#include <memory>

#include "messages/Tag.h"
#include "platform/MachineFacts.h"
#include "profile/TagList.h"

namespace qz {

class NetworkTag : public Tag {
 public:
  explicit NetworkTag(std::unique_ptr<NetworkAdapterInfo> info);
  ~NetworkTag() override;

  StringBuf& Write(StringBuf& out) override;

 protected:
  void WriteAttributes(StringBuf& out) override;

 private:
  std::unique_ptr<NetworkAdapterInfo> info;
};

// Empties list and fills it with one tag per adapter the platform reports;
// an adapter without an address is left out.
void FillNetworkTags(TagList<NetworkTag>& list, bool fullData, bool omitPersonalInfo);
// The same from records already read, which the tags take over.
void FillNetworkTags(TagList<NetworkTag>& list, FactList<NetworkAdapterInfo> records);

}  // namespace qz

#endif  // QZ_PROFILE_NETWORKTAG_H
