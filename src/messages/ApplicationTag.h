// The "application" element at the head of every batch.
#ifndef QZ_MESSAGES_APPLICATIONTAG_H
#define QZ_MESSAGES_APPLICATIONTAG_H

#include "messages/Tag.h"

namespace qz {

class ApplicationTag : public Tag {
 public:
  ApplicationTag(const QZChar* id, const QZChar* name, const QZChar* version,
                 const QZChar* type, const QZChar* instance);
  ~ApplicationTag() override;

  StringBuf& Write(StringBuf& out) override;

 protected:
  void WriteAttributes(StringBuf& out) override;

 private:
  StringBuf id;
  StringBuf name;
  StringBuf version;
  StringBuf type;
  StringBuf instance;
};

}  // namespace qz

#endif  // QZ_MESSAGES_APPLICATIONTAG_H
