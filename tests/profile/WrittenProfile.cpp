#include "WrittenProfile.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <regex>
#include <utility>

#include "profile/SystemProfile.h"
#include "support/TestText.h"

namespace qz {
namespace test {

namespace {

// The message's own children, then the profile's, in the order it writes them.
const char* const kOrder[] = {"binary",    "property",  "cpu",    "memory", "disk",
                              "network",   "domain",    "time-zone", "page-file", "screen",
                              "video",     "sound",     "modem",  "terminal-services"};

ProfileElement Parse(const std::string& name, const std::string& attributes) {
  static const std::regex kAttribute(" ([a-z-]+)=\"([^\"]*)\"");
  ProfileElement element;
  element.name = name;
  for (std::sregex_iterator i(attributes.begin(), attributes.end(), kAttribute), end; i != end;
       ++i) {
    element.attributes[(*i)[1]] = (*i)[2];
  }
  return element;
}

WrittenProfile Split(const std::string& text) {
  static const std::regex kLine("<(/?[a-z-]+)((?: [a-z-]+=\"[^\"]*\")*)(/?)>");
  WrittenProfile profile;
  profile.text = text;
  std::vector<std::string> lines;
  for (size_t begin = 0, end; (end = text.find('\n', begin)) != std::string::npos; begin = end + 1) {
    lines.push_back(text.substr(begin, end - begin));
  }
  std::smatch match;
  if (lines.size() < 2 || !std::regex_match(lines.front(), match, kLine) ||
      match[1] != "system-profile" || match[3] != "" || lines.back() != "</system-profile>") {
    ADD_FAILURE() << "not one system-profile element:\n" << text;
    return profile;
  }
  profile.message = Parse(match[1], match[2]);
  const char* const* rank = std::begin(kOrder);
  for (size_t i = 1; i + 1 < lines.size(); ++i) {
    if (!std::regex_match(lines[i], match, kLine) || match[3] != "/") {
      ADD_FAILURE() << "not one self-closing element: " << lines[i];
      continue;
    }
    profile.children.push_back(Parse(match[1], match[2]));
    const char* const* at = std::find(rank, std::end(kOrder), profile.children.back().name);
    EXPECT_NE(std::end(kOrder), at) << lines[i] << " unknown or out of order\n" << text;
    rank = at == std::end(kOrder) ? rank : at;
  }
  EXPECT_EQ(1u, profile.All("domain").size()) << text;
  EXPECT_EQ(1u, profile.All("time-zone").size()) << text;
  return profile;
}

}  // namespace

std::vector<const ProfileElement*> WrittenProfile::All(const std::string& name) const {
  std::vector<const ProfileElement*> found;
  for (const ProfileElement& child : children) {
    if (child.name == name) found.push_back(&child);
  }
  return found;
}

const WrittenProfile& ThisMachinesProfile(bool fullData, bool omitPersonalInfo) {
  static std::map<std::pair<bool, bool>, std::unique_ptr<WrittenProfile>> built;
  std::unique_ptr<WrittenProfile>& profile = built[{fullData, omitPersonalInfo}];
  if (!profile) {
    SystemProfile message(QZ_TEXT("6b0d549b-6f03-475a-9600-a35a099950d8"), nullptr, nullptr,
                          fullData, omitPersonalInfo);
    StringBuf out;
    profile = std::make_unique<WrittenProfile>(Split(U8(message.Write(out).ToString())));
  }
  return *profile;
}

}  // namespace test
}  // namespace qz
