#include "qz/ExceptionInfo.h"


namespace qz {

namespace {

void SetUserText(StringBuf& field, const QZChar* text) {
  field = text;
  field.Trim();
  if (field.StrLen() > ExceptionInfo::MAX_USER_TEXT_LENGTH) {
    field.SubString(0, ExceptionInfo::MAX_USER_TEXT_LENGTH);
  }
}

}  // namespace

ExceptionInfo::ExceptionInfo() : eventType(EVENT_CAUGHT) {}

ExceptionInfo::~ExceptionInfo() = default;

ExceptionInfo& ExceptionInfo::operator=(const ExceptionInfo* other) {
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

void ExceptionInfo::SetType(const QZChar* typeName) { type = typeName; }

ExceptionInfo& ExceptionInfo::Type(const QZChar* typeName) {
  SetType(typeName);
  return *this;
}

void ExceptionInfo::SetMessage(const QZChar* messageText) { message = messageText; }

ExceptionInfo& ExceptionInfo::Message(const QZChar* messageText) {
  SetMessage(messageText);
  return *this;
}

void ExceptionInfo::SetUserContact(const QZChar* contact) { SetUserText(userContact, contact); }

ExceptionInfo& ExceptionInfo::Contact(const QZChar* contact) {
  SetUserContact(contact);
  return *this;
}

void ExceptionInfo::SetUserComment(const QZChar* comment) { SetUserText(userComment, comment); }

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
  message.Append(e.what());
  return *this;
}

}  // namespace qz
