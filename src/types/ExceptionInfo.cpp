#include "qz/ExceptionInfo.h"

#include "platform/CaughtException.h"

namespace qz {

namespace {

void SetUserText(StringBuf& field, const QZChar* text, const QZChar* source) {
  AssignOrLog(field, text, source);
  field.Trim();
  if (field.StrLen() > ExceptionInfo::MAX_USER_TEXT_LENGTH) {
    field.SubString(0, ExceptionInfo::MAX_USER_TEXT_LENGTH);
  }
}

}  // namespace

ExceptionInfo::ExceptionInfo() : eventType(EVENT_CAUGHT) {}

ExceptionInfo::~ExceptionInfo() = default;

// When memory runs out part way, the copy is left incomplete (and logged).
ExceptionInfo& ExceptionInfo::operator=(const ExceptionInfo* other) try {
  if (other == this) return *this;
  if (other == nullptr) {
    eventType = EVENT_CAUGHT;
    type.Clear();
    message.Clear();
    userContact.Clear();
    userComment.Clear();
    return *this;
  }
  eventType = other->eventType;
  type = other->type;
  message = other->message;
  userContact = other->userContact;
  userComment = other->userComment;
  return *this;
} catch (...) {
  LogCaughtException(QZ_TEXT("ExceptionInfo::operator="));
  return *this;
}

void ExceptionInfo::SetEventType(int32_t value) {
  if (value == EVENT_CAUGHT || value == EVENT_UNCAUGHT || value == EVENT_THROWN) {
    eventType = value;
  }
}

const QZChar* ExceptionInfo::GetEventTypeString() const {
  switch (eventType) {
    case EVENT_UNCAUGHT:
      return QZ_TEXT("uncaught");
    case EVENT_THROWN:
      return QZ_TEXT("thrown");
    default:
      return QZ_TEXT("caught");
  }
}

void ExceptionInfo::SetType(const QZChar* typeName) {
  AssignOrLog(type, typeName, QZ_TEXT("ExceptionInfo::SetType"));
}

ExceptionInfo& ExceptionInfo::Type(const QZChar* typeName) {
  SetType(typeName);
  return *this;
}

void ExceptionInfo::SetMessage(const QZChar* messageText) {
  AssignOrLog(message, messageText, QZ_TEXT("ExceptionInfo::SetMessage"));
}

ExceptionInfo& ExceptionInfo::Message(const QZChar* messageText) {
  SetMessage(messageText);
  return *this;
}

void ExceptionInfo::SetUserContact(const QZChar* contact) {
  SetUserText(userContact, contact, QZ_TEXT("ExceptionInfo::SetUserContact"));
}

ExceptionInfo& ExceptionInfo::Contact(const QZChar* contact) {
  SetUserContact(contact);
  return *this;
}

void ExceptionInfo::SetUserComment(const QZChar* comment) {
  SetUserText(userComment, comment, QZ_TEXT("ExceptionInfo::SetUserComment"));
}

ExceptionInfo& ExceptionInfo::Comment(const QZChar* comment) {
  SetUserComment(comment);
  return *this;
}

ExceptionInfo& ExceptionInfo::Caught() {
  eventType = EVENT_CAUGHT;
  return *this;
}

ExceptionInfo& ExceptionInfo::Uncaught() {
  eventType = EVENT_UNCAUGHT;
  return *this;
}

ExceptionInfo& ExceptionInfo::Thrown() {
  eventType = EVENT_THROWN;
  return *this;
}

ExceptionInfo& ExceptionInfo::Caught(const std::exception& e) {
  return FromException(EVENT_CAUGHT, e);
}

ExceptionInfo& ExceptionInfo::Uncaught(const std::exception& e) {
  return FromException(EVENT_UNCAUGHT, e);
}

ExceptionInfo& ExceptionInfo::Thrown(const std::exception& e) {
  return FromException(EVENT_THROWN, e);
}

ExceptionInfo& ExceptionInfo::FromException(int32_t event, const std::exception& e) {
  eventType = event;
  message.Clear();
  try {
    message.Append(e.what());
  } catch (...) {
    LogCaughtException(QZ_TEXT("ExceptionInfo::FromException"));
  }
  return *this;
}

}  // namespace qz
