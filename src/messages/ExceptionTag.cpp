#include "messages/ExceptionTag.h"

#include <utility>

namespace qz {

ExceptionTag::ExceptionTag(const QZChar* exceptionType, const QZChar* message)
    : seq(-1), exceptionType(exceptionType), message(message) {}

ExceptionTag::~ExceptionTag() = default;

void ExceptionTag::AddStack(std::unique_ptr<StackTag> stack) {
  if (stack != nullptr) stacks.push_back(std::move(stack));
}

StringBuf& ExceptionTag::Write(StringBuf& out) { return out; }

StringBuf& ExceptionTag::WriteNumbered(StringBuf& out, int32_t position) {
  seq = position;
  return WriteElement(out, QZ_TEXT("exception"));
}

void ExceptionTag::AppendAttributes(StringBuf& out, int32_t position,
                                    const QZChar* exceptionType, const QZChar* message) {
  WriteAttribute(out, QZ_TEXT("seq"), position);
  WriteAttribute(out, QZ_TEXT("exceptionType"),
                 exceptionType != nullptr && exceptionType[0] != 0 ? exceptionType
                                                                   : QZ_TEXT("Unknown"));
  WriteOptionalAttribute(out, QZ_TEXT("message"), message);
}

void ExceptionTag::WriteAttributes(StringBuf& out) {
  AppendAttributes(out, seq, exceptionType, message);
}

void ExceptionTag::AppendElement(StringBuf& out, int32_t position, const QZChar* exceptionType,
                                 const QZChar* message, const QZChar* frameType,
                                 const QZChar* frameMethod) {
  // The form WriteElement gives an element with children.
  AppendLiteral(out, QZ_TEXT("<exception"));
  AppendAttributes(out, position, exceptionType, message);
  AppendLiteral(out, QZ_TEXT(">\n"));
  StackTag::AppendElement(out, 0, frameType, frameMethod, nullptr, 0);
  AppendLiteral(out, QZ_TEXT("</exception>\n"));
}

bool ExceptionTag::HasChildren() { return !stacks.empty(); }

void ExceptionTag::WriteChildren(StringBuf& out) {
  int32_t position = 0;
  for (const auto& stack : stacks) stack->WriteNumbered(out, position++);
}

}  // namespace qz
