#include "messages/StackTag.h"

namespace qz {

namespace {

const QZChar* OrUnknown(const QZChar* text) {
  return text != nullptr && text[0] != 0 ? text : QZ_TEXT("Unknown");
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

void StackTag::AppendAttributes(StringBuf& out, int32_t position, const QZChar* type,
                                const QZChar* method, const QZChar* file, int32_t line) {
  WriteAttribute(out, QZ_TEXT("seq"), position);
  WriteAttribute(out, QZ_TEXT("type"), OrUnknown(type));
  WriteAttribute(out, QZ_TEXT("method"), OrUnknown(method));
  WriteOptionalAttribute(out, QZ_TEXT("file"), file);
  WriteOptionalAttribute(out, QZ_TEXT("line"), line);
}

void StackTag::WriteAttributes(StringBuf& out) {
  AppendAttributes(out, seq, type, method, file, line);
}

void StackTag::AppendElement(StringBuf& out, int32_t position, const QZChar* type,
                             const QZChar* method, const QZChar* file, int32_t line) {
  // The self-closing form WriteElement gives an element without children.
  AppendLiteral(out, QZ_TEXT("<stack"));
  AppendAttributes(out, position, type, method, file, line);
  AppendLiteral(out, QZ_TEXT("/>\n"));
}

}  // namespace qz
