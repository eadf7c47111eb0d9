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

  // The element that Fill(info) and Write give, written straight from info:
  // nothing for a null info or one whose texts are all empty.
  static void AppendElement(StringBuf& out, const BinaryInfo* info);
  // The characters AppendElement writes, when no text needs escaping.
  static uint64_t ElementLength(const BinaryInfo* info);

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
