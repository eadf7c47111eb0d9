// BinaryInfo: which piece of host code reports an event.
/// @file
/// Where in the host an event comes from: qz::BinaryInfo.
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

/// Describes the piece of host code (binary, class, method) an event comes
/// from; optional on every API operation, sent with the event.
///
/// Not synchronised: the library reads it during the API call it is passed
/// to and keeps nothing. Setters never throw: a text that cannot be copied
/// for lack of memory is logged and the field keeps its value. Null texts
/// clear a field.
class QZ_API BinaryInfo {
 public:
  /// Every field empty, no date.
  BinaryInfo();
  /// Frees the texts.
  ~BinaryInfo();

  /// Resets every field, then copies all of them from other unless it is null.
  BinaryInfo& operator=(const BinaryInfo* other);

  /// The binary's ID: null or empty clears it; a GUID is kept upper case;
  /// anything else is logged as an error and leaves the ID as it was.
  void SetID(const QZChar* id);
  /// @name Texts sent as given
  ///@{

  /// The binary's name, its version, the class and the method.
  void SetName(const QZChar* name);
  void SetVersion(const QZChar* version);
  void SetClassName(const QZChar* className);
  void SetMethodName(const QZChar* methodName);
  ///@}
  /// The binary's modification time in milliseconds since 1970 UTC; 0 means
  /// not set. A time after 9999-12-31T23:59:59.999Z is not sent.
  void SetModifiedDate(uint64_t milliseconds);

  /// @name Reading
  ///@{

  /// What the matching setter stored; never null, empty when unset.
  const QZChar* GetID() const { return id.ToString(); }
  const QZChar* GetName() const { return name.ToString(); }
  const QZChar* GetVersion() const { return version.ToString(); }
  const QZChar* GetClassName() const { return className.ToString(); }
  const QZChar* GetMethodName() const { return methodName.ToString(); }
  ///@}
  /// The modification time as sent (an XML date-time in UTC); empty when no
  /// date is set or it cannot be written.
  const QZChar* GetModifiedDateString() const { return modifiedText.ToString(); }
  /// The modification time in milliseconds since 1970 UTC; 0 when not set.
  uint64_t GetModifiedDate() const { return modifiedDate; }

  /// @name Names that windows.h may rename
  ///@{

  /// GetClassName, for hosts that include windows.h (whose macro turns the
  /// name into GetClassNameW or GetClassNameA) after this header.
  const QZChar* GetClassNameW() const { return className.ToString(); }
  const QZChar* GetClassNameA() const { return className.ToString(); }
  ///@}

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
