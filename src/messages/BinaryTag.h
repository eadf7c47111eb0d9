// The "binary" element: which piece of code reported an event.
#ifndef QZ_MESSAGES_BINARYTAG_H
#define QZ_MESSAGES_BINARYTAG_H

#include "messages/Tag.h"

namespace qz {

class BinaryInfo;

class BinaryTag : public Tag {
 public:
  BinaryTag();
  ~BinaryTag() override;

  // Copies every text of info; null clears them all.
  void Fill(const BinaryInfo* info);
  // True when any field is set; an empty binary is not written at all.
  bool HasContent() const;

  StringBuf& Write(StringBuf& out) override;

 protected:
  void WriteAttributes(StringBuf& out) override;

 private:
  StringBuf id;
  StringBuf name;
  StringBuf version;
  StringBuf type;
  StringBuf method;
  StringBuf modified;
};

}  // namespace qz

#endif  // QZ_MESSAGES_BINARYTAG_H
