// ExceptionInfo: an exception the host reports, and what the user said about it.
/// @file
/// An exception the host reports: qz::ExceptionInfo.
#ifndef QZ_EXCEPTIONINFO_H
#define QZ_EXCEPTIONINFO_H

#include "qz/export.h"

#if defined(QZ_USE_FLAT_ABI)
// Compilers that cannot call the exported classes get the same ones inline.
#include "qz/qz_inline.h"
#else

#include <cstdint>
#include <exception>

#include "qz/StringBuf.h"

// <windows.h> turns GetMessage into GetMessageA/W; keep the real name here and
// give the renamed calls a forwarder so hosts may include either header first.
#pragma push_macro("GetMessage")
#undef GetMessage

namespace qz {

/// An exception the host reports with API::ReportException: how it was met,
/// its type and message, and what the user said about it.
///
/// Not synchronised; the library reads it during the call it is passed to.
/// Setters never throw: a text that cannot be copied for lack of memory is
/// logged and the field keeps its value. Null texts clear a field. The
/// chaining forms (Type, Message, ...) do what the setters do and return
/// this object.
class QZ_API ExceptionInfo {
 public:
  /// @name Event types
  ///@{

  /// How the exception was met: caught by the host (the default), not
  /// caught, or thrown.
  static constexpr int32_t EVENT_CAUGHT = 100;
  static constexpr int32_t EVENT_UNCAUGHT = 200;
  static constexpr int32_t EVENT_THROWN = 300;
  ///@}
  /// Contact and comment are trimmed and then cut to this many characters.
  static constexpr uint64_t MAX_USER_TEXT_LENGTH = 500;

  /// A caught exception with every text empty.
  ExceptionInfo();
  /// Frees the texts.
  ~ExceptionInfo();

  /// Copies every field from other; null resets to the constructor's state.
  ExceptionInfo& operator=(const ExceptionInfo* other);

  /// One of the three EVENT_ constants; other values are ignored.
  void SetEventType(int32_t eventType);
  /// The event type.
  int32_t GetEventType() const { return eventType; }
  /// "caught", "uncaught" or "thrown".
  const QZChar* GetEventTypeString() const;

  /// @name Type
  ///@{

  /// The exception's type name, sent as given.
  void SetType(const QZChar* typeName);
  ExceptionInfo& Type(const QZChar* typeName);
  const QZChar* GetType() const { return type.ToString(); }
  ///@}

  /// @name Message
  ///@{

  /// The exception's message, sent as given.
  void SetMessage(const QZChar* messageText);
  ExceptionInfo& Message(const QZChar* messageText);
  const QZChar* GetMessage() const { return message.ToString(); }
  ///@}

  /// @name User contact
  ///@{

  /// How to reach the user who met it, trimmed and cut to MAX_USER_TEXT_LENGTH.
  void SetUserContact(const QZChar* contact);
  ExceptionInfo& Contact(const QZChar* contact);
  const QZChar* GetUserContact() const { return userContact.ToString(); }
  ///@}

  /// @name User comment
  ///@{

  /// What the user said, trimmed and cut to MAX_USER_TEXT_LENGTH.
  void SetUserComment(const QZChar* comment);
  ExceptionInfo& Comment(const QZChar* comment);
  const QZChar* GetUserComment() const { return userComment.ToString(); }
  ///@}

  /// @name Setting the event type
  ///@{

  /// Sets the event type to caught, uncaught or thrown.
  ExceptionInfo& Caught();
  ExceptionInfo& Uncaught();
  ExceptionInfo& Thrown();
  ///@}
  /// @name Taking a C++ exception
  ///@{

  /// Set the event type and replace the message with e.what() (read as
  /// 8-bit text, bytes above 0x7F as Latin-1); the type name stays.
  ExceptionInfo& Caught(const std::exception& e);
  ExceptionInfo& Uncaught(const std::exception& e);
  ExceptionInfo& Thrown(const std::exception& e);
  ///@}

  /// @name Names that windows.h may rename
  ///@{

  /// GetMessage, for hosts that include windows.h (whose macro turns the
  /// name into GetMessageW or GetMessageA) after this header.
  const QZChar* GetMessageW() const { return message.ToString(); }
  const QZChar* GetMessageA() const { return message.ToString(); }
  ///@}

 private:
  ExceptionInfo(const ExceptionInfo&) = delete;
  ExceptionInfo& operator=(const ExceptionInfo&) = delete;

  ExceptionInfo& FromException(int32_t event, const std::exception& e);

  int32_t eventType;
  StringBuf type;
  StringBuf message;
  StringBuf userContact;
  StringBuf userComment;
};

}  // namespace qz

#pragma pop_macro("GetMessage")

#endif  // QZ_USE_FLAT_ABI

#endif  // QZ_EXCEPTIONINFO_H
