#include "ingest/BatchScanner.h"

#include <cstdint>
#include <cstring>
#include <string_view>
#include <vector>

#include "common/TimeText.h"
#include "ingest/CharacterReferences.h"

namespace qz {
namespace collector {

namespace {

// The wire format (collector/schema/messaging.xsd) as rules for one pass.
enum class Kind : uint8_t {
  Text,
  Guid,
  GuidOrEmpty,
  UtcTime,    // also a real time
  ZonedTime,  // also a real time
  Flag,
  OnlyTrue,
  Count32,
  Count64,
  Signed32,
  Protocol,
  Decimal,
  FeatureEvent,
  FaultEvent,
};

struct AttributeRule {
  std::string_view name;
  Kind kind;
  bool required;
};

struct ElementRule;

// One child element, or a choice of several, repeated min..max times (max 0: unbounded).
struct Particle {
  std::vector<std::pair<std::string_view, const ElementRule*>> names;
  int min;
  int max;

  const ElementRule* Match(std::string_view name) const {
    for (const auto& n : names) {
      if (n.first == name) return n.second;
    }
    return nullptr;
  }
};

struct ElementRule {
  std::vector<AttributeRule> attributes;  // at most 32
  std::vector<Particle> content;          // none: the element is empty
};

struct Rules {
  ElementRule company, application, binary, property, os, host, user, stack, exception, probeMemory, probeCpu, cpu,
      memory, disk, network, domain, timeZone, pageFile, screen, video, sound, modem, terminalServices,
      applicationMessage, sessionMessage, feature, fault, probe, profile, messages;

  Rules() {
    constexpr Kind T = Kind::Text, C32 = Kind::Count32, C64 = Kind::Count64;
    company.attributes = {{"id", Kind::Guid, true}, {"name", T, false}};
    application.attributes = {{"id", Kind::Guid, true}, {"name", T, false}, {"version", T, false},
                              {"type", T, false}, {"instance", T, false}};
    binary.attributes = {{"id", Kind::Guid, false}, {"modified", Kind::UtcTime, false}, {"name", T, false},
                         {"version", T, false}, {"type", T, false}, {"method", T, false}};
    property.attributes = {{"name", T, true}, {"value", T, true}, {"type", Kind::Decimal, false}};
    os.attributes = {{"name", T, true},          {"sp-major", C32, true},
                     {"sp-minor", C32, true},    {"product-code", T, false},
                     {"installed-date", Kind::ZonedTime, false}, {"language", T, false}};
    host.attributes = {{"ip", T, true},       {"locale", T, true},       {"name", T, false},
                       {"virtualized", Kind::OnlyTrue, false}, {"src-lang", T, true}, {"src-lang-ver", T, true}};
    host.content = {{{{"os", &os}}, 1, 1}};
    user.attributes = {{"name", T, true}, {"admin", Kind::OnlyTrue, false}};
    stack.attributes = {{"seq", Kind::Signed32, true}, {"type", T, true}, {"method", T, true},
                        {"file", T, false}, {"line", Kind::Signed32, false}};
    exception.attributes = {{"seq", Kind::Signed32, true}, {"exceptionType", T, true}, {"message", T, false}};
    exception.content = {{{{"stack", &stack}}, 0, 0}};
    probeMemory.attributes = {{"available", C32, true}, {"used", C32, true}};
    probeCpu.attributes = {{"utilization", C32, true}};
    cpu.attributes = {{"name", T, false},          {"manufacturer", T, false}, {"model", T, false},
                      {"address-width", C32, false}, {"speed", C32, false},      {"max-speed", C32, false}};
    memory.attributes = {{"total", C64, false}, {"capacity", C64, false}, {"speed", C32, false}};
    disk.attributes = {{"name", T, true}, {"size", C64, true}, {"free", C64, true}, {"fstype", T, false},
                       {"serial", T, false}};
    network.attributes = {{"conn-id", T, false}, {"ip", T, true},           {"mac", T, false},
                          {"speed", C32, false}, {"max-speed", C32, false}, {"dhcp", Kind::OnlyTrue, false}};
    domain.attributes = {{"member", Kind::Flag, true}, {"name", T, false}, {"role", C32, false}};
    timeZone.attributes = {{"zone", Kind::Signed32, true}, {"dst", Kind::Flag, true}};
    pageFile.attributes = {{"name", T, false}, {"initial", C32, false}, {"max", C32, false}};
    screen.attributes = {{"name", T, false}, {"width", C32, false}, {"height", C32, false}, {"refresh", C32, false}};
    video.attributes = {{"name", T, false}, {"driver", T, false}, {"colors", C64, false}, {"memory", C32, false}};
    sound.attributes = {{"manufacturer", T, false}, {"model", T, false}};
    modem.attributes = {{"model", T, false}, {"type", T, false}};
    terminalServices.attributes = {{"connections-allowed", Kind::OnlyTrue, false}, {"licensing-name", T, false},
                                   {"mode", C32, false}};

    // Every message: its own attributes after these, its content after an
    // optional binary and any properties.
    const auto message = [](std::vector<AttributeRule> own) {
      std::vector<AttributeRule> all = {
          {"generated", Kind::UtcTime, true}, {"id", Kind::Guid, true}, {"session", Kind::GuidOrEmpty, true}};
      all.insert(all.end(), own.begin(), own.end());
      return all;
    };
    const auto head = [this](std::vector<Particle> rest) {
      std::vector<Particle> all = {{{{"binary", &binary}}, 0, 1}, {{{"property", &property}}, 0, 0}};
      all.insert(all.end(), rest.begin(), rest.end());
      return all;
    };
    applicationMessage.attributes = message({});
    applicationMessage.content = head({{{{"host", &host}}, 0, 1}, {{{"user", &user}}, 0, 1}});
    sessionMessage.attributes = message({});
    sessionMessage.content = head({});
    feature.attributes = message({{"group", Kind::Guid, true}, {"name", T, true}, {"event", Kind::FeatureEvent, true}});
    feature.content = head({});
    fault.attributes = message({{"event", Kind::FaultEvent, true}, {"comment", T, false}, {"contact", T, false}});
    fault.content = head({{{{"exception", &exception}}, 1, 0}});
    probe.attributes = message({{"name", T, false}});
    probe.content = head({{{{"memory", &probeMemory}}, 1, 1}, {{{"cpu", &probeCpu}}, 0, 1}});
    profile.attributes = message({{"manufacturer", T, false}, {"model", T, false}, {"power-state", T, false}});
    profile.content = head({{{{"cpu", &cpu}}, 0, 0},
                            {{{"memory", &memory}}, 0, 1},
                            {{{"disk", &disk}}, 0, 0},
                            {{{"network", &network}}, 0, 0},
                            {{{"domain", &domain}}, 1, 1},
                            {{{"time-zone", &timeZone}}, 1, 1},
                            {{{"page-file", &pageFile}}, 0, 0},
                            {{{"screen", &screen}}, 0, 1},
                            {{{"video", &video}}, 0, 1},
                            {{{"sound", &sound}}, 0, 1},
                            {{{"modem", &modem}}, 0, 1},
                            {{{"terminal-services", &terminalServices}}, 0, 1}});
    messages.attributes = {{"protocol", Kind::Protocol, true}, {"agent-name", T, false},
                           {"agent-version", T, false},       {"id", Kind::Guid, true},
                           {"message-group", Kind::GuidOrEmpty, true}, {"sent", Kind::UtcTime, true}};
    messages.content = {{{{"company", &company}}, 1, 1},
                        {{{"application", &application}}, 1, 1},
                        {{{"app-start", &applicationMessage},
                          {"app-stop", &applicationMessage},
                          {"session-start", &sessionMessage},
                          {"session-stop", &sessionMessage},
                          {"feature", &feature},
                          {"fault", &fault},
                          {"performance-probe", &probe},
                          {"system-profile", &profile}},
                         1,
                         0}};
  }
};

const Rules& TheRules() {
  static const Rules rules;
  return rules;
}

constexpr char kSchemaInstance[] = "http://www.w3.org/2001/XMLSchema-instance";
// Far below libxml2's own limit on a text, so that both read the same.
constexpr size_t kMaxValue = 1 << 20;
// A reference longer than this is left to the full parser (as CharacterReferences does).
constexpr size_t kMaxReferenceDigits = 8;

// ASCII from the space on: raw controls (which XML normalises) and other
// bytes are left to the full parser.
bool IsPrintable(char c) { return static_cast<unsigned char>(c) >= 0x20 && static_cast<unsigned char>(c) < 0x80; }
bool IsBlank(char c) { return c == ' ' || c == '\n' || c == '\t' || c == '\r'; }
bool IsDigit(char c) { return c >= '0' && c <= '9'; }
bool IsHex(char c) { return IsDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); }
bool IsNameStart(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || c == ':'; }
bool IsNameChar(char c) { return IsNameStart(c) || IsDigit(c) || c == '-' || c == '.'; }

bool IsGuid(const std::string& v) {
  if (v.size() != 36) return false;
  for (size_t i = 0; i < 36; ++i) {
    if (i == 8 || i == 13 || i == 18 || i == 23 ? v[i] != '-' : !IsHex(v[i])) return false;
  }
  return true;
}

// "0|[1-9][0-9]*" (after an optional minus when signed) within the limit.
bool IsNumber(const std::string& v, bool allowMinus, uint64_t positiveLimit, uint64_t negativeLimit) {
  const bool negative = allowMinus && !v.empty() && v[0] == '-';
  const size_t first = negative ? 1 : 0;
  if (v.size() == first || v.size() - first > 20) return false;
  if (v[first] == '0') return v.size() == first + 1 && !negative;
  uint64_t n = 0;
  for (size_t i = first; i < v.size(); ++i) {
    if (!IsDigit(v[i])) return false;
    const uint64_t digit = static_cast<uint64_t>(v[i] - '0');
    if (n > (UINT64_MAX - digit) / 10) return false;
    n = n * 10 + digit;
  }
  return n <= (negative ? negativeLimit : positiveLimit);
}

bool IsValid(Kind kind, const std::string& v) {
  int64_t millis;
  switch (kind) {
    case Kind::Text:
      return true;
    case Kind::Guid:
      return IsGuid(v);
    case Kind::GuidOrEmpty:
      return v.empty() || IsGuid(v);
    case Kind::UtcTime:
      return TimeText::ToMillis(v, millis);
    case Kind::ZonedTime:
      return TimeText::IsZonedTime(v);
    case Kind::Flag:
      return v == "true" || v == "false";
    case Kind::OnlyTrue:
      return v == "true";
    case Kind::Count32:
      return IsNumber(v, false, UINT32_MAX, 0);
    case Kind::Count64:
      return IsNumber(v, false, UINT64_MAX, 0);
    case Kind::Signed32:
      return IsNumber(v, true, INT32_MAX, static_cast<uint64_t>(INT32_MAX) + 1);
    case Kind::Protocol:
      return v == "3";
    case Kind::Decimal:
      return v == "decimal";
    case Kind::FeatureEvent:
      return v == "start" || v == "stop" || v == "tick";
    case Kind::FaultEvent:
      return v == "caught" || v == "uncaught" || v == "thrown";
  }
  return false;
}

class Scanner {
 public:
  explicit Scanner(const std::string& body) : p(body.data()), end(body.data() + body.size()) {}

  bool Document(Element& root) {
    if (!Declaration()) return false;
    SkipBlanks();
    if (!Take('<')) return false;
    const std::string_view name = Name();
    if (name != "messages" || !ElementRest(TheRules().messages, name, root, true)) return false;
    SkipBlanks();
    return p == end;
  }

 private:
  // The XML declaration in the forms a writer would use for UTF-8, or none.
  bool Declaration() {
    if (static_cast<size_t>(end - p) < 5 || std::memcmp(p, "<?xml", 5) != 0) return true;
    static const char* const kForms[] = {
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>", "<?xml version=\"1.0\" encoding=\"utf-8\"?>",
        "<?xml version='1.0' encoding='UTF-8'?>",     "<?xml version='1.0' encoding='utf-8'?>",
        "<?xml version=\"1.0\"?>",                    "<?xml version='1.0'?>"};
    for (const char* form : kForms) {
      const size_t n = std::strlen(form);
      if (static_cast<size_t>(end - p) >= n && std::memcmp(p, form, n) == 0) {
        p += n;
        return true;
      }
    }
    return false;
  }

  bool SkipBlanks() {
    const char* from = p;
    while (p != end && IsBlank(*p)) ++p;
    return p != from;
  }

  bool Take(char c) {
    if (p == end || *p != c) return false;
    ++p;
    return true;
  }

  // An ASCII name, or empty when none starts here.
  std::string_view Name() {
    const char* from = p;
    if (p == end || !IsNameStart(*p)) return {};
    while (p != end && IsNameChar(*p)) ++p;
    return std::string_view(from, static_cast<size_t>(p - from));
  }

  // "&#x...;" or "&#...;" at p with at most kMaxReferenceDigits digits.
  bool NumericReference(const char* at, uint32_t& value, const char*& after) const {
    if (end - at < 4 || at[0] != '&' || at[1] != '#') return false;
    const char* q = at + 2;
    const bool hex = *q == 'x';
    if (hex) ++q;
    const char* first = q;
    uint64_t v = 0;
    while (q != end && static_cast<size_t>(q - first) <= kMaxReferenceDigits && (hex ? IsHex(*q) : IsDigit(*q))) {
      const char c = *q++;
      v = v * (hex ? 16 : 10) + static_cast<uint64_t>(c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10);
    }
    const size_t digits = static_cast<size_t>(q - first);
    if (digits == 0 || digits > kMaxReferenceDigits || q == end || *q != ';' || v > 0x10FFFF) return false;
    value = static_cast<uint32_t>(v);
    after = q + 1;
    return true;
  }

  // One reference at p, decoded into out as the full parser would after its
  // character handling: surrogate pairs joined, a lone surrogate U+FFFD, and
  // characters XML cannot hold kept as sent. False for anything else.
  bool Reference(std::string& out) {
    static constexpr std::pair<std::string_view, char> kNamed[] = {
        {"&amp;", '&'}, {"&lt;", '<'}, {"&gt;", '>'}, {"&quot;", '"'}, {"&apos;", '\''}};
    if (end - p > 1 && p[1] != '#') {
      const std::string_view rest(p, static_cast<size_t>(end - p));
      for (const auto& n : kNamed) {
        if (rest.compare(0, n.first.size(), n.first) == 0) {
          out += n.second;
          p += n.first.size();
          return true;
        }
      }
      return false;
    }
    uint32_t c;
    const char* after;
    if (!NumericReference(p, c, after) || c == 0) return false;
    if (c >= 0xD800 && c <= 0xDFFF) {
      uint32_t low;
      const char* lowAfter;
      if (c <= 0xDBFF && NumericReference(after, low, lowAfter) && low >= 0xDC00 && low <= 0xDFFF) {
        c = 0x10000 + ((c - 0xD800) << 10) + (low - 0xDC00);
        after = lowAfter;
      } else {
        c = 0xFFFD;
      }
    }
    CharacterReferences::AppendUtf8(out, c);
    p = after;
    return true;
  }

  // A quoted value of printable ASCII and references, decoded.
  bool Value(std::string& out) {
    if (p == end || (*p != '"' && *p != '\'')) return false;
    const char quote = *p++;
    for (;;) {
      const char* from = p;
      while (p != end && *p != quote && *p != '&' && *p != '<' && IsPrintable(*p)) ++p;
      out.append(from, static_cast<size_t>(p - from));
      if (out.size() > kMaxValue || p == end) return false;
      if (*p == quote) {
        ++p;
        return true;
      }
      if (*p != '&' || !Reference(out)) return false;  // '<', raw controls and non-ASCII bytes
    }
  }

  // After "<" and the name: the attributes, then the content and end tag.
  bool ElementRest(const ElementRule& rule, std::string_view name, Element& out, bool root) {
    out.name.assign(name.data(), name.size());
    out.attributes.reserve(rule.attributes.size());
    uint32_t seen = 0;
    bool schemaInstance = false, location = false, empty = false;
    for (;;) {
      const bool spaced = SkipBlanks();
      if (p == end) return false;
      if (*p == '/') {
        ++p;
        if (!Take('>')) return false;
        empty = true;
        break;
      }
      if (*p == '>') {
        ++p;
        break;
      }
      if (!spaced) return false;
      const std::string_view attribute = Name();
      if (attribute.empty()) return false;
      SkipBlanks();
      if (!Take('=')) return false;
      SkipBlanks();
      std::string value;
      if (!Value(value)) return false;
      if (attribute.find(':') != std::string_view::npos) {
        // Only the schema-instance namespace and the location hint the library writes.
        if (!root) return false;
        if (attribute == "xmlns:xsi" && !schemaInstance && value == kSchemaInstance) {
          schemaInstance = true;
        } else if (attribute == "xsi:noNamespaceSchemaLocation" && !location && IsPlainLocation(value)) {
          location = true;
        } else {
          return false;
        }
        continue;
      }
      size_t i = 0;
      while (i < rule.attributes.size() && attribute != rule.attributes[i].name) ++i;
      if (i == rule.attributes.size() || (seen & (1u << i)) != 0 || !IsValid(rule.attributes[i].kind, value)) {
        return false;
      }
      seen |= 1u << i;
      out.attributes.emplace_back(std::string(attribute), std::move(value));
    }
    if (location && !schemaInstance) return false;
    for (size_t i = 0; i < rule.attributes.size(); ++i) {
      if (rule.attributes[i].required && (seen & (1u << i)) == 0) return false;
    }
    if (empty) return Complete(rule, 0, 0);
    // An element without content must close at once (no text, not even blanks).
    if (rule.content.empty()) return Take('<') && Take('/') && EndTag(name);
    size_t particle = 0;
    int count = 0;
    for (;;) {
      SkipBlanks();
      if (!Take('<')) return false;  // text, a reference, or the end of the body
      if (Take('/')) return EndTag(name) && Complete(rule, particle, count);
      const std::string_view child = Name();
      if (child.empty()) return false;  // a comment, CDATA, an instruction
      const ElementRule* childRule = nullptr;
      for (; particle < rule.content.size(); ++particle, count = 0) {
        const Particle& q = rule.content[particle];
        childRule = q.Match(child);
        if (childRule != nullptr && (q.max == 0 || count < q.max)) break;
        childRule = nullptr;
        if (count < q.min) return false;
      }
      if (childRule == nullptr) return false;
      ++count;
      out.children.emplace_back();
      if (!ElementRest(*childRule, child, out.children.back(), false)) return false;
    }
  }

  // After "</": the name and ">".
  bool EndTag(std::string_view name) {
    if (Name() != name) return false;
    SkipBlanks();
    return Take('>');
  }

  // The particles from this one on have what they need.
  static bool Complete(const ElementRule& rule, size_t particle, int count) {
    for (; particle < rule.content.size(); ++particle, count = 0) {
      if (count < rule.content[particle].min) return false;
    }
    return true;
  }

  static bool IsPlainLocation(const std::string& v) {
    if (v.empty()) return false;
    for (char c : v) {
      if (!IsNameChar(c) && std::strchr("/?#=%~+", c) == nullptr) return false;
    }
    return true;
  }

  const char* p;
  const char* const end;
};

}  // namespace

bool BatchScanner::Scan(const std::string& body, Element& root) {
  root = Element();
  return Scanner(body).Document(root);
}

}  // namespace collector
}  // namespace qz
