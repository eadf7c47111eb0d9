// BinaryInfo: which piece of host code reports an event.
#ifndef QZ_BINARYINFO_H
#define QZ_BINARYINFO_H

#include "qz/export.h"

#if defined(QZ_USE_FLAT_ABI)
// Compilers that cannot call the exported classes get the same ones inline.
#include "qz/qz_inline.h"
#else

#include <cstdint>

#include "qz/StringBuf.h"

// <windows.h> turns GetClassName into GetClassNameA/W; keep the real name here
// and give the renamed calls a forwarder so hosts may include either header first.
#pragma push_macro("GetClassName")
#undef GetClassName

namespace qz {

class QZ_API BinaryInfo {
 public:
  BinaryInfo();
  ~BinaryInfo();

  // Resets every field, then copies all of them from other unless it is null.
  BinaryInfo& operator=(const BinaryInfo* other);

  // Null or empty clears the ID; GUID text is kept upper case; anything else is
  // logged and leaves the ID as it was.
  void SetID(const QZChar* id);
  void SetName(const QZChar* name);
  void SetVersion(const QZChar* version);
  void SetClassName(const QZChar* className);
  void SetMethodName(const QZChar* methodName);
  // Milliseconds since 1970 UTC; 0 means not set.
  void SetModifiedDate(uint64_t milliseconds);

  const QZChar* GetID() const { return id.ToString(); }
  const QZChar* GetName() const { return name.ToString(); }
  const QZChar* GetVersion() const { return version.ToString(); }
  const QZChar* GetClassName() const { return className.ToString(); }
  const QZChar* GetMethodName() const { return methodName.ToString(); }
  // Empty when no date is set.
  const QZChar* GetModifiedDateString() const { return modifiedText.ToString(); }
  uint64_t GetModifiedDate() const { return modifiedDate; }

  const QZChar* GetClassNameW() const { return className.ToString(); }
  const QZChar* GetClassNameA() const { return className.ToString(); }

 private:
  BinaryInfo(const BinaryInfo&) = delete;
  BinaryInfo& operator=(const BinaryInfo&) = delete;

  StringBuf id;
  StringBuf name;
  StringBuf version;
  StringBuf className;
  StringBuf methodName;
  StringBuf modifiedText;
  uint64_t modifiedDate;
};

}  // namespace qz

#pragma pop_macro("GetClassName")

#endif  // QZ_USE_FLAT_ABI

#endif  // QZ_BINARYINFO_H
