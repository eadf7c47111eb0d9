#include "messages/StackTag.h"

namespace qz {

namespace {

const QZChar* OrUnknown(const StringBuf& text) {
  return text.StrLen() != 0 ? text.ToString() : QZ_TEXT("Unknown");
}

}  // namespace

StackTag::StackTag(const QZChar* type, const QZChar* method, const QZChar* file, int32_t line)
    : seq(-1), type(type), method(method), file(file), line(line) {}

StackTag::~StackTag() = default;

StringBuf& StackTag::Write(StringBuf& out) { return out; }

StringBuf& StackTag::WriteNumbered(StringBuf& out, int32_t position) {
  seq = position;
  return WriteElement(out, QZ_TEXT("stack"));
}

void StackTag::WriteAttributes(StringBuf& out) {
  WriteAttribute(out, QZ_TEXT("seq"), seq);
  WriteAttribute(out, QZ_TEXT("type"), OrUnknown(type));
  WriteAttribute(out, QZ_TEXT("method"), OrUnknown(method));
  WriteOptionalAttribute(out, QZ_TEXT("file"), file);
  WriteOptionalAttribute(out, QZ_TEXT("line"), line);
}

}  // namespace qz
