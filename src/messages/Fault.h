// The "fault" message: an exception the host reports, with the frame that
// reported it taken from the call's BinaryInfo.
#ifndef QZ_MESSAGES_FAULT_H
#define QZ_MESSAGES_FAULT_H

#include "messages/Message.h"
#include "qz/ExceptionInfo.h"

namespace qz {

class Fault : public Message {
 public:
  // REQUIRES: exception is not null. Renders what it needs of it and the
  // class and method names of info at once; neither is kept.
  Fault(const ExceptionInfo* exception, const QZChar* session, const BinaryInfo* info,
        const ExtendedKeys* keys);
  ~Fault() override;

  StringBuf& Write(StringBuf& out) override;

 protected:
  void WriteAttributes(StringBuf& out) override;
  // Always: the exception element is always written.
  bool HasChildren() override { return true; }
  void WriteChildren(StringBuf& out) override;

 private:
  struct Rendered;
  Fault(const Rendered& rendered, const QZChar* session, const BinaryInfo* info,
        const ExtendedKeys* keys);
};

}  // namespace qz

#endif  // QZ_MESSAGES_FAULT_H
