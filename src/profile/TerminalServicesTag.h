// The "terminal-services" element: whether remote sessions are allowed, the
// licensing server and the server mode. Left out when nothing could be read.
#ifndef QZ_PROFILE_TERMINALSERVICESTAG_H
#define QZ_PROFILE_TERMINALSERVICESTAG_H

#include "messages/Tag.h"
#include "platform/MachineFacts.h"

namespace qz {

class TerminalServicesTag : public Tag {
 public:
  // Reads the facts from the platform.
  explicit TerminalServicesTag(bool fullData);
  explicit TerminalServicesTag(const TerminalServicesInfo& info);
  ~TerminalServicesTag() override;

  StringBuf& Write(StringBuf& out) override;

 protected:
  void WriteAttributes(StringBuf& out) override;

 private:
  TerminalServicesInfo info;
};

}  // namespace qz

#endif  // QZ_PROFILE_TERMINALSERVICESTAG_H
