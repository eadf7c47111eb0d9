#include "messages/Fault.h"

#include "messages/ExceptionTag.h"
#include "qz/BinaryInfo.h"

namespace qz {

// The fault's own attributes, a NUL, then its exception element: rendered once
// from the caller's objects and kept with the message's texts.
struct Fault::Rendered {
  Rendered(const ExceptionInfo& exception, const BinaryInfo* info)
      : text(TextLength(exception.GetUserComment()) + TextLength(exception.GetUserContact()) +
             TextLength(exception.GetType()) + TextLength(exception.GetMessage()) +
             (info != nullptr
                  ? TextLength(info->GetClassName()) + TextLength(info->GetMethodName())
                  : 0) +
             kMarkup) {
    WriteAttribute(text, QZ_TEXT("event"), exception.GetEventTypeString());
    WriteOptionalAttribute(text, QZ_TEXT("comment"), exception.GetUserComment());
    WriteOptionalAttribute(text, QZ_TEXT("contact"), exception.GetUserContact());
    text.Append(QZChar(0));
    childrenAt = text.StrLen();
    ExceptionTag::AppendElement(text, 0, exception.GetType(), exception.GetMessage(),
                                info != nullptr ? info->GetClassName() : nullptr,
                                info != nullptr ? info->GetMethodName() : nullptr);
  }

  // The element and attribute names, quotes and line ends around the texts.
  static constexpr uint64_t kMarkup = 160;
  StringBuf text;
  uint64_t childrenAt = 0;
};

Fault::Fault(const ExceptionInfo* exception, const QZChar* session, const BinaryInfo* info,
             const ExtendedKeys* keys)
    : Fault(Rendered(*exception, info), session, info, keys) {}

Fault::Fault(const Rendered& rendered, const QZChar* session, const BinaryInfo* info,
             const ExtendedKeys* keys)
    : Message(session, info, keys, rendered.text.ToString(),
              rendered.text.ToString() + rendered.childrenAt) {}

Fault::~Fault() = default;

StringBuf& Fault::Write(StringBuf& out) { return WriteElement(out, QZ_TEXT("fault")); }

void Fault::WriteAttributes(StringBuf& out) {
  Message::WriteAttributes(out);
  out.Append(OwnText(0));
}

void Fault::WriteChildren(StringBuf& out) {
  Message::WriteChildren(out);
  out.Append(OwnText(1));
}

}  // namespace qz
