// The "exception" element of a fault: the exception's type and message, and
// the stack frames that reported it.
#ifndef QZ_MESSAGES_EXCEPTIONTAG_H
#define QZ_MESSAGES_EXCEPTIONTAG_H

#include <memory>
#include <vector>

#include "messages/StackTag.h"
#include "messages/Tag.h"

namespace qz {

class ExceptionTag : public Tag {
 public:
  // An empty type is written as "Unknown"; an empty message is left out.
  ExceptionTag(const QZChar* exceptionType, const QZChar* message);
  ~ExceptionTag() override;

  // Takes ownership; frames are written in the order added.
  void AddStack(std::unique_ptr<StackTag> stack);

  // Written only through WriteNumbered, which knows its position.
  StringBuf& Write(StringBuf& out) override;
  virtual StringBuf& WriteNumbered(StringBuf& out, int32_t position);

  // The element WriteNumbered gives for these values with one frame (the
  // stack element that StackTag::AppendElement writes), without an object.
  static void AppendElement(StringBuf& out, int32_t position, const QZChar* exceptionType,
                            const QZChar* message, const QZChar* frameType,
                            const QZChar* frameMethod);

 protected:
  void WriteAttributes(StringBuf& out) override;
  bool HasChildren() override;
  void WriteChildren(StringBuf& out) override;

 private:
  static void AppendAttributes(StringBuf& out, int32_t position, const QZChar* exceptionType,
                               const QZChar* message);

  int32_t seq;
  StringBuf exceptionType;
  StringBuf message;
  std::vector<std::unique_ptr<StackTag>> stacks;
};

}  // namespace qz

#endif  // QZ_MESSAGES_EXCEPTIONTAG_H
