// The "company" element at the head of every batch.
#ifndef QZ_MESSAGES_COMPANYTAG_H
#define QZ_MESSAGES_COMPANYTAG_H

#include "messages/Tag.h"

namespace qz {

class CompanyTag : public Tag {
 public:
  CompanyTag(const QZChar* id, const QZChar* name);
  ~CompanyTag() override;

  StringBuf& Write(StringBuf& out) override;

 protected:
  void WriteAttributes(StringBuf& out) override;

 private:
  StringBuf name;
  StringBuf id;
};

}  // namespace qz

#endif  // QZ_MESSAGES_COMPANYTAG_H
