// The "fault" message: an exception the host reports, with the frame that
// reported it taken from the call's BinaryInfo.
#ifndef QZ_MESSAGES_FAULT_H
#define QZ_MESSAGES_FAULT_H

#include <memory>
#include <vector>

#include "messages/ExceptionTag.h"
#include "messages/Message.h"
#include "qz/ExceptionInfo.h"

namespace qz {

class Fault : public Message {
 public:
  // REQUIRES: exception is not null. Copies it and the class and method
  // names of info; neither is kept.
  Fault(const ExceptionInfo* exception, const QZChar* session, const BinaryInfo* info,
        const ExtendedKeys* keys);
  ~Fault() override;

  StringBuf& Write(StringBuf& out) override;

 protected:
  void WriteAttributes(StringBuf& out) override;
  bool HasChildren() override;
  void WriteChildren(StringBuf& out) override;

 private:
  ExceptionInfo exceptionInfo;
  std::vector<std::unique_ptr<ExceptionTag>> exceptions;
};

}  // namespace qz

#endif  // QZ_MESSAGES_FAULT_H
