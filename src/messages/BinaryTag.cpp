#include "messages/BinaryTag.h"

#include "qz/BinaryInfo.h"

namespace qz {

namespace {

// The attributes in the order they are written, each as its opening
// ` name="`, written as one piece.
struct Opening {
  template <size_t N>
  constexpr Opening(const QZChar (&text)[N]) : text(text), length(N - 1) {}  // NOLINT
  const QZChar* text;
  uint64_t length;
};
constexpr int kAttributes = 6;
constexpr Opening kOpenings[kAttributes] = {
    QZ_TEXT(" id=\""),      QZ_TEXT(" modified=\""), QZ_TEXT(" name=\""),
    QZ_TEXT(" version=\""), QZ_TEXT(" type=\""),     QZ_TEXT(" method=\"")};

// The optional attributes of values, in kOpenings' order.
void AppendAttributes(StringBuf& out, const QZChar* const (&values)[kAttributes]) {
  for (int i = 0; i < kAttributes; ++i) {
    if (values[i] == nullptr || values[i][0] == 0) continue;
    out.Append(kOpenings[i].text, kOpenings[i].length);
    Tag::AppendEscaped(out, values[i]);
    out.Append(QZChar('"'));
  }
}

struct Values {
  explicit Values(const BinaryInfo& info)
      : text{info.GetID(),      info.GetModifiedDateString(), info.GetName(),
             info.GetVersion(), info.GetClassName(),          info.GetMethodName()} {}
  bool Any() const {
    for (const QZChar* value : text) {
      if (value != nullptr && value[0] != 0) return true;
    }
    return false;
  }
  const QZChar* text[kAttributes];
};

}  // namespace

BinaryTag::BinaryTag() = default;

BinaryTag::~BinaryTag() = default;

void BinaryTag::Fill(const BinaryInfo* info) {
  if (info == nullptr) {
    id.Clear();
    name.Clear();
    version.Clear();
    type.Clear();
    method.Clear();
    modified.Clear();
    return;
  }
  id = info->GetID();
  name = info->GetName();
  version = info->GetVersion();
  type = info->GetClassName();
  method = info->GetMethodName();
  modified = info->GetModifiedDateString();
}

bool BinaryTag::HasContent() const {
  return id.StrLen() != 0 || name.StrLen() != 0 || version.StrLen() != 0 ||
         type.StrLen() != 0 || method.StrLen() != 0 || modified.StrLen() != 0;
}

StringBuf& BinaryTag::Write(StringBuf& out) {
  if (!HasContent()) return out;
  return WriteElement(out, QZ_TEXT("binary"));
}

void BinaryTag::WriteAttributes(StringBuf& out) {
  const QZChar* const values[kAttributes] = {id, modified, name, version, type, method};
  AppendAttributes(out, values);
}

void BinaryTag::AppendElement(StringBuf& out, const BinaryInfo* info) {
  if (info == nullptr) return;
  const Values values(*info);
  if (!values.Any()) return;
  // The self-closing form WriteElement gives an element without children.
  AppendLiteral(out, QZ_TEXT("<binary"));
  AppendAttributes(out, values.text);
  AppendLiteral(out, QZ_TEXT("/>\n"));
}

uint64_t BinaryTag::ElementLength(const BinaryInfo* info) {
  if (info == nullptr) return 0;
  const Values values(*info);
  uint64_t length = LiteralLength(QZ_TEXT("<binary/>\n"));
  for (int i = 0; i < kAttributes; ++i) {
    const uint64_t n = TextLength(values.text[i]);
    if (n != 0) length += kOpenings[i].length + n + 1;
  }
  return length;
}

}  // namespace qz
