// Text building: StringBuf edits checked against a plain std::u16string,
// ExtendedKeys against a sorted map, and every attribute writer of Tag and the
// property lines, whose output must be 7-bit, well formed and read back to
// exactly the units given.
#include <charconv>
#include <cmath>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "FuzzSupport.h"
#include "messages/PropertyLines.h"
#include "messages/Tag.h"
#include "qz/ExtendedKeys.h"
#include "qz/StringBuf.h"

namespace qz {
namespace fuzz {
namespace {

// ---- StringBuf against a model ------------------------------------------

Text Contents(const StringBuf& s) { return Text(reinterpret_cast<const char16_t*>(s.ToString()), s.StrLen()); }

void CheckAgainst(const StringBuf& s, const Text& model) {
  QZ_FUZZ_CHECK(s.StrLen() == model.size());
  QZ_FUZZ_CHECK(model.compare(0, model.size(), reinterpret_cast<const char16_t*>(s.ToString()), s.StrLen()) == 0);
  QZ_FUZZ_CHECK(s.ToString()[s.StrLen()] == 0);
  QZ_FUZZ_CHECK(s.Capacity() > s.StrLen());
  QZ_FUZZ_CHECK(s.Growth() >= 16 && s.Growth() <= 512);
}

int Radix(int32_t radix) { return radix < 0 || radix > 36 ? 36 : (radix < 2 ? 2 : radix); }

Text Digits(uint64_t value, int32_t radix) {
  char buffer[70];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, value, Radix(radix));
  return Text(buffer, result.ptr);
}

Text Signed(int64_t value, int32_t radix) {
  if (value >= 0) return Digits(static_cast<uint64_t>(value), radix);
  return u"-" + Digits(0 - static_cast<uint64_t>(value), radix);
}

// What the C library's "%f" writes, cut to 316 characters; a NaN has no sign.
Text Fixed6(double value) {
  if (std::isnan(value)) return u"nan";
  static char buffer[400];
  const int n = std::snprintf(buffer, sizeof buffer, "%f", value);
  return Text(buffer, buffer + std::min(n, 316));
}

bool IsSpace(char16_t c) {
  if (c < 0x100) return (c >= 9 && c <= 13) || c == 0x20 || c == 0xA0;
  return c == 0x1680 || (c >= 0x2000 && c <= 0x200A) || c == 0x2028 || c == 0x2029 ||
         c == 0x202F || c == 0x205F || c == 0x3000;
}

void Trimmed(Text& m) {
  while (!m.empty() && IsSpace(m.back())) m.pop_back();
  size_t lead = 0;
  while (lead < m.size() && m[lead] != 0 && IsSpace(m[lead])) ++lead;
  m.erase(0, lead);
}

void CaseMapped(Text& m, char16_t from, char16_t to) {
  for (char16_t& c : m) {
    if (c == 0) break;
    if (c >= from && c <= from + 25) c = static_cast<char16_t>(c - from + to);
  }
}

uint64_t AnyIndex(FuzzedDataProvider& data, size_t length) {
  // Mostly near the text, sometimes anywhere in 64 bits.
  return data.ConsumeBool() ? data.ConsumeIntegralInRange<uint64_t>(0, length + 2)
                            : data.ConsumeIntegral<uint64_t>();
}

void EditStrings(FuzzedDataProvider& data) {
  StringBuf strings[2];
  Text models[2];
  for (int step = 0; step < 32 && data.remaining_bytes() > 0; ++step) {
    // Self-appends double a string: stop before it outgrows the machine.
    if (models[0].size() + models[1].size() > 8000) break;
    const int which = data.ConsumeIntegralInRange<int>(0, 1);
    StringBuf& s = strings[which];
    Text& m = models[which];
    StringBuf& other = strings[1 - which];
    const Text& otherModel = models[1 - which];
    switch (data.ConsumeIntegralInRange<int>(0, 21)) {
      case 0: {
        const Text text = ConsumeText(data);
        s.Append(Terminated(text));
        m += UpToNul(text);
        break;
      }
      case 1: {
        const char16_t c = data.ConsumeIntegral<uint16_t>();
        s.Append(static_cast<QZChar>(c));
        m.push_back(c);
        break;
      }
      case 2: {
        const std::string narrow = data.ConsumeRandomLengthString(64);
        s.Append(narrow.c_str());
        for (unsigned char b : narrow.substr(0, narrow.find('\0'))) m.push_back(b);
        break;
      }
      case 3: {
        const int32_t value = data.ConsumeIntegral<int32_t>();
        const int32_t radix = data.ConsumeIntegralInRange<int32_t>(-100, 100);
        s.Append(value, radix);
        m += Signed(value, radix);
        break;
      }
      case 4: {
        const uint32_t value = data.ConsumeIntegral<uint32_t>();
        const int32_t radix = data.ConsumeIntegralInRange<int32_t>(-100, 100);
        s.Append(value, radix);
        m += Digits(value, radix);
        break;
      }
      case 5: {
        const uint64_t value = data.ConsumeIntegral<uint64_t>();
        const int32_t radix = data.ConsumeIntegralInRange<int32_t>(-100, 100);
        s.Append(value, radix);
        m += Digits(value, radix);
        break;
      }
      case 6: {
        double value;
        const uint64_t bits = data.ConsumeIntegral<uint64_t>();
        std::memcpy(&value, &bits, sizeof value);
        s.Append(value);
        m += Fixed6(value);
        break;
      }
      case 7: {
        // From the other string or from itself, embedded NULs included.
        const bool self = data.ConsumeBool();
        const Text source = self ? m : otherModel;
        s.Append(self ? s : other);
        m += source;
        break;
      }
      case 8: {
        const bool self = data.ConsumeBool();
        const Text source = self ? m : otherModel;
        const uint64_t start = AnyIndex(data, source.size());
        const uint64_t count = AnyIndex(data, source.size());
        s.Append(self ? s : other, start, count);
        if (count != 0 && start <= source.size() && count <= source.size() - start) {
          m += source.substr(start, count);
        }
        break;
      }
      case 9:
        if (data.ConsumeBool()) {
          StringBuf& same = s;
          s = same;  // assigning itself changes nothing
        } else {
          s = other;
          m = UpToNul(otherModel);
        }
        break;
      case 10: {
        const Text text = ConsumeText(data);
        s = Terminated(text);
        m = UpToNul(text);
        break;
      }
      case 11: {
        // A text that lies inside the string's own buffer.
        const size_t from = data.ConsumeIntegralInRange<size_t>(0, m.size());
        s = s.ToString() + from;
        // Its own buffer as a whole leaves it as it is, NULs and all.
        if (from > 0) m = UpToNul(m.substr(from));
        break;
      }
      case 12:
        s.Clear();
        m.clear();
        break;
      case 13:
        s.Trim();
        Trimmed(m);
        break;
      case 14:
        if (data.ConsumeBool()) {
          s.ToUpperCase();
          CaseMapped(m, u'a', u'A');
        } else {
          s.ToLowercase();
          CaseMapped(m, u'A', u'a');
        }
        break;
      case 15: {
        const Text prefix = UpToNul(ConsumeText(data));
        const uint64_t offset = AnyIndex(data, m.size());
        const bool expected = !prefix.empty() && offset <= m.size() &&
                              prefix.size() <= m.size() - offset &&
                              m.compare(offset, prefix.size(), prefix) == 0;
        QZ_FUZZ_CHECK(s.StartsWith(Terminated(prefix), offset) == expected);
        const bool ends = !prefix.empty() && prefix.size() <= m.size() &&
                          m.compare(m.size() - prefix.size(), prefix.size(), prefix) == 0;
        QZ_FUZZ_CHECK(s.EndsWith(Terminated(prefix)) == ends);
        break;
      }
      case 16: {
        const char16_t c = data.ConsumeIntegral<uint16_t>();
        const size_t at = c == 0 ? Text::npos : m.rfind(c);
        QZ_FUZZ_CHECK(s.LastIndexOf(static_cast<QZChar>(c)) ==
                      (at == Text::npos ? -1 : static_cast<int64_t>(at)));
        break;
      }
      case 17: {
        const int64_t start = data.ConsumeBool()
                                  ? data.ConsumeIntegralInRange<int64_t>(-2, m.size() + 2)
                                  : data.ConsumeIntegral<int64_t>();
        const uint64_t count = AnyIndex(data, m.size());
        s.SubString(start, count);
        if (start >= 0 && static_cast<uint64_t>(start) < m.size() &&
            count <= m.size() - static_cast<uint64_t>(start)) {
          m = m.substr(static_cast<size_t>(start), count);
        }
        break;
      }
      case 18: {
        const int64_t start = data.ConsumeIntegralInRange<int64_t>(-2, m.size() + 2);
        s.SubString(start);
        if (start >= 0 && static_cast<uint64_t>(start) < m.size()) m.erase(0, start);
        break;
      }
      case 19: {
        const uint64_t index = AnyIndex(data, m.size());
        QZ_FUZZ_CHECK(s.CharAt(index) == (index < m.size() ? m[index] : 0));
        break;
      }
      case 20: {
        const uint64_t requested = data.ConsumeBool() ? data.ConsumeIntegralInRange<uint64_t>(0, 20000)
                                                      : data.ConsumeIntegral<uint64_t>();
        StringBuf fresh(requested);
        QZ_FUZZ_CHECK(fresh.Capacity() == std::min<uint64_t>(std::max<uint64_t>(requested, 32), 16384) + 1);
        QZ_FUZZ_CHECK(fresh.Growth() == std::min<uint64_t>(std::max<uint64_t>(requested, 16), 512));
        CheckAgainst(fresh, Text());
        break;
      }
      case 21: {
        Text text = ConsumeText(data);
        // Past the largest first allocation (16384), which the first append then grows.
        if (!text.empty() && data.ConsumeBool()) {
          while (text.size() < 16400) text += text;
        }
        StringBuf fresh(const_cast<QZChar*>(Terminated(text)));
        CheckAgainst(fresh, UpToNul(text));
        break;
      }
    }
    CheckAgainst(s, m);
    CheckAgainst(other, otherModel);
  }
}

// ---- ExtendedKeys against a sorted map -------------------------------------

struct Property {
  Text value;
  bool numeric;
};

void AddProperties(FuzzedDataProvider& data, ExtendedKeys& keys, std::map<Text, Property>& model) {
  for (int step = 0; step < 12 && data.remaining_bytes() > 0; ++step) {
    const Text keyText = ConsumeText(data);
    const Text key = UpToNul(keyText).substr(0, ExtendedKey::MAX_KEY_LENGTH);
    Text value;
    switch (data.ConsumeIntegralInRange<int>(0, 4)) {
      case 0: {
        const Text valueText = ConsumeText(data);
        keys.Add(Terminated(keyText), Terminated(valueText));
        value = UpToNul(valueText).substr(0, ExtendedKey::MAX_TEXT_LENGTH);
        if (!key.empty() && !value.empty()) model[key] = Property{value, false};
        continue;
      }
      case 1: {
        const int32_t v = data.ConsumeIntegral<int32_t>();
        keys.Add(Terminated(keyText), v);
        value = Signed(v, 10);
        break;
      }
      case 2: {
        const long v = data.ConsumeIntegral<long>();  // NOLINT(runtime/int)
        keys.Add(Terminated(keyText), v);
        value = Signed(v, 10);
        break;
      }
      case 3: {
        float v;
        const uint32_t bits = data.ConsumeIntegral<uint32_t>();
        std::memcpy(&v, &bits, sizeof v);
        keys.Add(Terminated(keyText), v);
        value = Fixed6(static_cast<double>(v));
        break;
      }
      case 4: {
        double v;
        const uint64_t bits = data.ConsumeIntegral<uint64_t>();
        std::memcpy(&v, &bits, sizeof v);
        keys.Add(Terminated(keyText), v);
        value = Fixed6(v);
        break;
      }
    }
    if (!key.empty()) model[key] = Property{value, true};
  }
  QZ_FUZZ_CHECK(keys.Size() == model.size());
  uint64_t index = 0;
  for (const auto& entry : model) {
    const ExtendedKey* key = keys.Get(index++);
    QZ_FUZZ_CHECK(key != nullptr);
    QZ_FUZZ_CHECK(Text(reinterpret_cast<const char16_t*>(key->Key())) == entry.first);
    QZ_FUZZ_CHECK(Text(reinterpret_cast<const char16_t*>(key->Value())) == entry.second.value);
    QZ_FUZZ_CHECK(key->IsNumeric() == entry.second.numeric);
  }
  QZ_FUZZ_CHECK(keys.Get(index) == nullptr);
}

// ---- The written XML -----------------------------------------------------

// Reads ` name="value"` pairs up to the end of an opening tag.
class LineReader {
 public:
  explicit LineReader(const Text& text) : text_(text), at_(0) {}

  bool Expect(const Text& literal) {
    if (text_.compare(at_, literal.size(), literal) != 0) return false;
    at_ += literal.size();
    return true;
  }
  // ` name="..."` with the value unescaped.
  bool Attribute(const Text& name, Text& value) {
    if (!Expect(u" " + name + u"=\"")) return false;
    const size_t end = text_.find(u'"', at_);
    if (end == Text::npos) return false;
    const bool ok = Unescape(text_.substr(at_, end - at_), value);
    at_ = end + 1;
    return ok;
  }
  bool AtEnd() const { return at_ == text_.size(); }

 private:
  const Text& text_;
  size_t at_;
};

enum Kind { kInt, kUint, kUint64, kBool, kText, kBuf, kOptionalInt, kOptionalUint, kOptionalUint64,
            kOptionalText, kOptionalBuf, kKinds };

struct Attribute {
  Kind kind;
  int64_t number;
  Text text;  // as given, NULs and all
  bool null;  // a null pointer instead of the text
};

// An element whose attributes and children the input chooses; names are the
// library's own constants, so they come from a fixed set here too.
class FuzzTag : public Tag {
 public:
  std::vector<Attribute> attributes;
  std::vector<std::unique_ptr<FuzzTag>> children;
  bool hasChildren = false;
  int depth = 0;

  StringBuf& Write(StringBuf& out) override { return WriteElement(out, Name()); }
  const QZChar* Name() const { return depth == 0 ? QZ_TEXT("outer") : QZ_TEXT("inner"); }

  static const QZChar* AttributeName(size_t i) {
    static const QZChar* const kNames[] = {QZ_TEXT("a"), QZ_TEXT("b-c"), QZ_TEXT("d"), QZ_TEXT("e"),
                                           QZ_TEXT("f"), QZ_TEXT("g"), QZ_TEXT("h"), QZ_TEXT("i")};
    return kNames[i % 8];
  }

 protected:
  void WriteAttributes(StringBuf& out) override {
    for (size_t i = 0; i < attributes.size(); ++i) {
      const Attribute& a = attributes[i];
      const QZChar* name = AttributeName(i);
      StringBuf buf;
      buf = Terminated(a.text);
      const QZChar* text = a.null ? nullptr : Terminated(a.text);
      switch (a.kind) {
        case kInt: WriteAttribute(out, name, static_cast<int32_t>(a.number)); break;
        case kUint: WriteAttribute(out, name, static_cast<uint32_t>(a.number)); break;
        case kUint64: WriteAttribute(out, name, static_cast<uint64_t>(a.number)); break;
        case kBool: WriteAttribute(out, name, a.number != 0); break;
        case kText: WriteAttribute(out, name, text); break;
        case kBuf: WriteAttribute(out, name, buf); break;
        case kOptionalInt: WriteOptionalAttribute(out, name, static_cast<int32_t>(a.number)); break;
        case kOptionalUint: WriteOptionalAttribute(out, name, static_cast<uint32_t>(a.number)); break;
        case kOptionalUint64: WriteOptionalAttribute(out, name, static_cast<uint64_t>(a.number)); break;
        case kOptionalText: WriteOptionalAttribute(out, name, text); break;
        case kOptionalBuf: WriteOptionalAttribute(out, name, buf); break;
        default: break;
      }
    }
  }
  bool HasChildren() override { return hasChildren; }
  void WriteChildren(StringBuf& out) override {
    for (auto& child : children) child->Write(out);
  }
};

std::unique_ptr<FuzzTag> MakeTag(FuzzedDataProvider& data, int depth) {
  auto tag = std::make_unique<FuzzTag>();
  tag->depth = depth;
  const int count = data.ConsumeIntegralInRange<int>(0, 8);
  for (int i = 0; i < count; ++i) {
    Attribute a;
    a.kind = static_cast<Kind>(data.ConsumeIntegralInRange<int>(0, kKinds - 1));
    a.number = data.ConsumeIntegral<int64_t>();
    a.null = false;
    if (a.kind == kText || a.kind == kBuf || a.kind == kOptionalText || a.kind == kOptionalBuf) {
      a.text = ConsumeText(data);
      // Only the pointer forms can be given null.
      a.null = (a.kind == kText || a.kind == kOptionalText) && data.ConsumeIntegralInRange<int>(0, 7) == 7;
    }
    tag->attributes.push_back(a);
  }
  tag->hasChildren = data.ConsumeBool();
  if (depth == 0 && tag->hasChildren) {
    const int children = data.ConsumeIntegralInRange<int>(0, 3);
    for (int i = 0; i < children; ++i) tag->children.push_back(MakeTag(data, 1));
  }
  return tag;
}

// The value an attribute must read back as, or false when it must be absent.
bool Expected(const Attribute& a, Text& value) {
  const Text text = a.null ? Text() : UpToNul(a.text);
  switch (a.kind) {
    case kInt: value = Signed(static_cast<int32_t>(a.number), 10); return true;
    case kUint: value = Digits(static_cast<uint32_t>(a.number), 10); return true;
    case kUint64: value = Digits(static_cast<uint64_t>(a.number), 10); return true;
    case kBool: value = a.number != 0 ? u"true" : u"false"; return true;
    case kText:
    case kBuf: value = text; return true;
    case kOptionalInt: value = Signed(static_cast<int32_t>(a.number), 10); return static_cast<int32_t>(a.number) > 0;
    case kOptionalUint: value = Digits(static_cast<uint32_t>(a.number), 10); return static_cast<uint32_t>(a.number) != 0;
    case kOptionalUint64: value = Digits(static_cast<uint64_t>(a.number), 10); return a.number != 0;
    case kOptionalText:
    case kOptionalBuf: value = text; return !text.empty();
    default: return false;
  }
}

void CheckElement(FuzzTag& tag, LineReader& reader) {
  const Text name = reinterpret_cast<const char16_t*>(tag.Name());
  QZ_FUZZ_CHECK(reader.Expect(u"<" + name));
  for (size_t i = 0; i < tag.attributes.size(); ++i) {
    Text expected;
    if (!Expected(tag.attributes[i], expected)) continue;
    Text value;
    QZ_FUZZ_CHECK(reader.Attribute(reinterpret_cast<const char16_t*>(FuzzTag::AttributeName(i)), value));
    QZ_FUZZ_CHECK(value == expected);
  }
  if (!tag.hasChildren) {
    QZ_FUZZ_CHECK(reader.Expect(u"/>\n"));
    return;
  }
  QZ_FUZZ_CHECK(reader.Expect(u">\n"));
  for (auto& child : tag.children) CheckElement(*child, reader);
  QZ_FUZZ_CHECK(reader.Expect(u"</" + name + u">\n"));
}

void WriteElements(FuzzedDataProvider& data) {
  std::unique_ptr<FuzzTag> tag = MakeTag(data, 0);
  StringBuf out;
  tag->Write(out);
  const Text written = Contents(out);
  for (char16_t c : written) QZ_FUZZ_CHECK(c == u'\n' || (c >= 32 && c <= 126));
  LineReader reader(written);
  CheckElement(*tag, reader);
  QZ_FUZZ_CHECK(reader.AtEnd());
}

void WriteProperties(const ExtendedKeys& keys) {
  StringBuf out;
  AppendPropertyLines(out, &keys);
  const Text written = Contents(out);
  LineReader reader(written);
  for (uint64_t i = 0; i < keys.Size(); ++i) {
    const ExtendedKey* key = keys.Get(i);
    Text name;
    Text value;
    QZ_FUZZ_CHECK(reader.Expect(u"<property"));
    QZ_FUZZ_CHECK(reader.Attribute(u"name", name));
    QZ_FUZZ_CHECK(reader.Attribute(u"value", value));
    QZ_FUZZ_CHECK(name == reinterpret_cast<const char16_t*>(key->Key()));
    QZ_FUZZ_CHECK(value == reinterpret_cast<const char16_t*>(key->Value()));
    if (key->IsNumeric()) QZ_FUZZ_CHECK(reader.Expect(u" type=\"decimal\""));
    QZ_FUZZ_CHECK(reader.Expect(u"/>\n"));
  }
  QZ_FUZZ_CHECK(reader.AtEnd());
}

}  // namespace
}  // namespace fuzz
}  // namespace qz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  FuzzedDataProvider data(bytes, size);
  switch (data.ConsumeIntegralInRange<int>(0, 2)) {
    case 0:
      qz::fuzz::EditStrings(data);
      break;
    case 1: {
      qz::ExtendedKeys keys;
      std::map<qz::fuzz::Text, qz::fuzz::Property> model;
      qz::fuzz::AddProperties(data, keys, model);
      qz::fuzz::WriteProperties(keys);
      break;
    }
    case 2:
      qz::fuzz::WriteElements(data);
      break;
  }
  return 0;
}
