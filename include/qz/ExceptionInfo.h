// ExceptionInfo: an exception the host reports, and what the user said about it.
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

class QZ_API ExceptionInfo {
 public:
  static constexpr int32_t EVENT_CAUGHT = 100;
  static constexpr int32_t EVENT_UNCAUGHT = 200;
  static constexpr int32_t EVENT_THROWN = 300;
  // Contact and comment are trimmed and then cut to this many characters.
  static constexpr uint64_t MAX_USER_TEXT_LENGTH = 500;

  ExceptionInfo();
  ~ExceptionInfo();

  // Copies every field from other; null resets to the constructor's state.
  ExceptionInfo& operator=(const ExceptionInfo* other);

  // Values other than the three EVENT_ constants are ignored.
  void SetEventType(int32_t eventType);
  int32_t GetEventType() const { return eventType; }
  // "caught", "uncaught" or "thrown".
  const QZChar* GetEventTypeString() const;

  void SetType(const QZChar* typeName);
  ExceptionInfo& Type(const QZChar* typeName);
  const QZChar* GetType() const { return type.ToString(); }

  void SetMessage(const QZChar* messageText);
  ExceptionInfo& Message(const QZChar* messageText);
  const QZChar* GetMessage() const { return message.ToString(); }

  void SetUserContact(const QZChar* contact);
  ExceptionInfo& Contact(const QZChar* contact);
  const QZChar* GetUserContact() const { return userContact.ToString(); }

  void SetUserComment(const QZChar* comment);
  ExceptionInfo& Comment(const QZChar* comment);
  const QZChar* GetUserComment() const { return userComment.ToString(); }

  ExceptionInfo& Caught();
  ExceptionInfo& Uncaught();
  ExceptionInfo& Thrown();
  // Set the event type and replace the message with e.what(); the type name stays.
  ExceptionInfo& Caught(const std::exception& e);
  ExceptionInfo& Uncaught(const std::exception& e);
  ExceptionInfo& Thrown(const std::exception& e);

  const QZChar* GetMessageW() const { return message.ToString(); }
  const QZChar* GetMessageA() const { return message.ToString(); }

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
