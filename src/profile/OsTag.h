// The "os" element: the operating system's name, service pack, product code,
// install date and language. Written inside "host".
#ifndef QZ_PROFILE_OSTAG_H
#define QZ_PROFILE_OSTAG_H

#include "messages/Tag.h"
#include "platform/MachineFacts.h"

namespace qz {

class OsTag : public Tag {
 public:
  // Reads the facts from the platform.
  explicit OsTag(bool fullData);
  explicit OsTag(const OsInfo& info);
  ~OsTag() override;

  StringBuf& Write(StringBuf& out) override;

 protected:
  void WriteAttributes(StringBuf& out) override;

 private:
  OsInfo info;
};

}  // namespace qz

#endif  // QZ_PROFILE_OSTAG_H
