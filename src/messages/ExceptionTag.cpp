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

void ExceptionTag::WriteAttributes(StringBuf& out) {
  WriteAttribute(out, QZ_TEXT("seq"), seq);
  WriteAttribute(out, QZ_TEXT("exceptionType"),
                 exceptionType.StrLen() != 0 ? exceptionType.ToString() : QZ_TEXT("Unknown"));
  WriteOptionalAttribute(out, QZ_TEXT("message"), message);
}

bool ExceptionTag::HasChildren() { return !stacks.empty(); }

void ExceptionTag::WriteChildren(StringBuf& out) {
  int32_t position = 0;
  for (const auto& stack : stacks) stack->WriteNumbered(out, position++);
}

}  // namespace qz
