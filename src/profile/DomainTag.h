// The "domain" element: the machine's domain or workgroup and its role there.
#ifndef QZ_PROFILE_DOMAINTAG_H
#define QZ_PROFILE_DOMAINTAG_H

#include "messages/Tag.h"
#include "platform/MachineFacts.h"

namespace qz {

class DomainTag : public Tag {
 public:
  // Reads the facts from the platform; the domain name is reported even when
  // personal information is omitted.
  DomainTag(bool fullData, bool omitPersonalInfo);
  explicit DomainTag(const DomainInfo& info);
  ~DomainTag() override;

  StringBuf& Write(StringBuf& out) override;

 protected:
  void WriteAttributes(StringBuf& out) override;

 private:
  DomainInfo info;
};

}  // namespace qz

#endif  // QZ_PROFILE_DOMAINTAG_H
