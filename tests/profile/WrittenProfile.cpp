#include "WrittenProfile.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <memory>
#include <regex>

#include "profile/SystemProfile.h"
#include "support/TestText.h"

namespace qz {
namespace test {

namespace {

struct Shape {
  std::vector<std::string> attributes;  // every one it may write, in order
  std::vector<std::string> always;
  bool single;                          // at most one per profile
};

// In the order the profile writes them.
const std::vector<std::pair<std::string, Shape>>& Shapes() {
  static const std::vector<std::pair<std::string, Shape>> shapes = {
      {"cpu", {{"name", "manufacturer", "model", "address-width", "speed", "max-speed"}, {}, false}},
      {"memory", {{"total", "capacity", "speed"}, {}, true}},
      {"disk", {{"name", "size", "free", "fstype", "serial"}, {"name", "size", "free"}, false}},
      {"network", {{"conn-id", "ip", "mac", "speed", "max-speed", "dhcp"}, {"ip"}, false}},
      {"domain", {{"member", "name", "role"}, {"member"}, true}},
      {"time-zone", {{"zone", "dst"}, {"zone", "dst"}, true}},
      {"page-file", {{"name", "initial", "max"}, {}, false}},
      {"screen", {{"name", "width", "height", "refresh"}, {}, true}},
      {"video", {{"name", "driver", "colors", "memory"}, {}, true}},
      {"sound", {{"manufacturer", "model"}, {}, true}},
      {"modem", {{"model", "type"}, {}, true}},
      {"terminal-services", {{"connections-allowed", "licensing-name", "mode"}, {}, true}}};
  return shapes;
}

ProfileElement Parse(const std::string& name, const std::string& attributes) {
  static const std::regex kAttribute(" ([a-z-]+)=\"([^\"]*)\"");
  ProfileElement element;
  element.name = name;
  for (std::sregex_iterator i(attributes.begin(), attributes.end(), kAttribute), end; i != end;
       ++i) {
    element.attributes.emplace_back((*i)[1], (*i)[2]);
  }
  return element;
}

void ExpectWellFormed(const WrittenProfile& profile) {
  const auto& shapes = Shapes();
  size_t rank = 0;
  std::map<std::string, int> counts;
  for (const ProfileElement& child : profile.children) {
    if (child.name == "binary" || child.name == "property") continue;  // the message's own
    const auto shape = std::find_if(shapes.begin(), shapes.end(),
                                    [&](const auto& s) { return s.first == child.name; });
    ASSERT_NE(shapes.end(), shape) << "unknown element " << child.name;
    const size_t at = static_cast<size_t>(shape - shapes.begin());
    EXPECT_GE(at, rank) << child.name << " out of order\n" << profile.text;
    rank = at;
    if (shape->second.single) {
      EXPECT_EQ(1, ++counts[child.name]) << child.name << " twice";
    }
    // The written names are a subsequence of the element's own.
    auto next = shape->second.attributes.begin();
    for (const auto& attribute : child.attributes) {
      next = std::find(next, shape->second.attributes.end(), attribute.first);
      EXPECT_NE(shape->second.attributes.end(), next)
          << child.name << ": " << attribute.first << " unknown or out of order";
    }
    for (const std::string& name : shape->second.always) EXPECT_TRUE(child.Has(name)) << child.name;
  }
  EXPECT_EQ(1u, profile.All("domain").size()) << profile.text;
  EXPECT_EQ(1u, profile.All("time-zone").size()) << profile.text;
}

}  // namespace

bool ProfileElement::Has(const std::string& attribute) const { return Get(attribute) != "<missing>"; }

std::string ProfileElement::Get(const std::string& attribute) const {
  for (const auto& a : attributes) {
    if (a.first == attribute) return a.second;
  }
  return "<missing>";
}

std::vector<const ProfileElement*> WrittenProfile::All(const std::string& name) const {
  std::vector<const ProfileElement*> found;
  for (const ProfileElement& child : children) {
    if (child.name == name) found.push_back(&child);
  }
  return found;
}

WrittenProfile SplitProfile(const std::string& text) {
  static const std::regex kOpen("<system-profile((?: [a-z-]+=\"[^\"]*\")*)>");
  static const std::regex kChild("<([a-z-]+)((?: [a-z-]+=\"[^\"]*\")*)/>");
  WrittenProfile profile;
  profile.text = text;
  const size_t firstEnd = text.find('\n');
  std::smatch match;
  const std::string open = text.substr(0, firstEnd);
  if (!std::regex_match(open, match, kOpen)) {
    ADD_FAILURE() << "not a profile: " << text;
    return profile;
  }
  profile.message = Parse("system-profile", match[1]);
  const std::string close = "</system-profile>\n";
  if (text.size() < close.size() || text.compare(text.size() - close.size(), close.size(), close) != 0) {
    ADD_FAILURE() << "no end tag: " << text;
    return profile;
  }
  const std::string body = text.substr(firstEnd + 1, text.size() - close.size() - firstEnd - 1);
  for (size_t begin = 0; begin < body.size();) {
    const size_t end = body.find('\n', begin);
    const std::string line = body.substr(begin, end - begin);
    if (std::regex_match(line, match, kChild)) {
      profile.children.push_back(Parse(match[1], match[2]));
    } else {
      ADD_FAILURE() << "not one self-closing element: " << line;
    }
    begin = end == std::string::npos ? body.size() : end + 1;
  }
  return profile;
}

const WrittenProfile& ThisMachinesProfile(bool fullData, bool omitPersonalInfo) {
  static std::map<std::pair<bool, bool>, std::unique_ptr<WrittenProfile>> built;
  std::unique_ptr<WrittenProfile>& profile = built[{fullData, omitPersonalInfo}];
  if (!profile) {
    SystemProfile message(QZ_TEXT("6b0d549b-6f03-475a-9600-a35a099950d8"), nullptr, nullptr,
                          fullData, omitPersonalInfo);
    StringBuf out;
    profile = std::make_unique<WrittenProfile>(SplitProfile(U8(message.Write(out).ToString())));
    SCOPED_TRACE(std::string("full data ") + (fullData ? "on" : "off") + ", personal info " +
                 (omitPersonalInfo ? "omitted" : "kept"));
    ExpectWellFormed(*profile);
  }
  return *profile;
}

}  // namespace test
}  // namespace qz
