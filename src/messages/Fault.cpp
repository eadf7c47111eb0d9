#include "messages/Fault.h"

#include <utility>

#include "qz/BinaryInfo.h"

namespace qz {

Fault::Fault(const ExceptionInfo* exception, const QZChar* session, const BinaryInfo* info,
             const ExtendedKeys* keys)
    : Message(session, info, keys) {
  exceptionInfo = exception;
  auto tag = std::make_unique<ExceptionTag>(exceptionInfo.GetType(), exceptionInfo.GetMessage());
  tag->AddStack(std::make_unique<StackTag>(info != nullptr ? info->GetClassName() : nullptr,
                                           info != nullptr ? info->GetMethodName() : nullptr,
                                           nullptr, 0));
  exceptions.push_back(std::move(tag));
}

Fault::~Fault() = default;

StringBuf& Fault::Write(StringBuf& out) { return WriteElement(out, QZ_TEXT("fault")); }

void Fault::WriteAttributes(StringBuf& out) {
  Message::WriteAttributes(out);
  WriteAttribute(out, QZ_TEXT("event"), exceptionInfo.GetEventTypeString());
  WriteOptionalAttribute(out, QZ_TEXT("comment"), exceptionInfo.GetUserComment());
  WriteOptionalAttribute(out, QZ_TEXT("contact"), exceptionInfo.GetUserContact());
}

bool Fault::HasChildren() { return Message::HasChildren() || !exceptions.empty(); }

void Fault::WriteChildren(StringBuf& out) {
  Message::WriteChildren(out);
  int32_t position = 0;
  for (const auto& exception : exceptions) exception->WriteNumbered(out, position++);
}

}  // namespace qz
