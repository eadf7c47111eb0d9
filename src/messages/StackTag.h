// The "stack" element: the one frame of a fault that the host names (its
// class and method); the library does not walk the machine stack.
#ifndef QZ_MESSAGES_STACKTAG_H
#define QZ_MESSAGES_STACKTAG_H

#include "messages/Tag.h"

namespace qz {

class StackTag : public Tag {
 public:
  // Empty names are written as "Unknown"; line 0 means unknown.
  StackTag(const QZChar* type, const QZChar* method, const QZChar* file, int32_t line);
  ~StackTag() override;

  // Written only through WriteNumbered, which knows its position.
  StringBuf& Write(StringBuf& out) override;
  virtual StringBuf& WriteNumbered(StringBuf& out, int32_t position);

  // The element WriteNumbered gives for these values, without an object.
  static void AppendElement(StringBuf& out, int32_t position, const QZChar* type,
                            const QZChar* method, const QZChar* file, int32_t line);

 protected:
  void WriteAttributes(StringBuf& out) override;

 private:
  static void AppendAttributes(StringBuf& out, int32_t position, const QZChar* type,
                               const QZChar* method, const QZChar* file, int32_t line);

  int32_t seq;
  StringBuf type;
  StringBuf method;
  StringBuf file;
  int32_t line;
};

}  // namespace qz

#endif  // QZ_MESSAGES_STACKTAG_H
