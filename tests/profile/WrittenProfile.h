// This machine's system profile, built and written, split into its elements
// so that tests can check its shape without knowing the machine.
#ifndef QZ_TESTS_PROFILE_WRITTENPROFILE_H
#define QZ_TESTS_PROFILE_WRITTENPROFILE_H

#include <map>
#include <string>
#include <vector>

namespace qz {
namespace test {

struct ProfileElement {
  std::string name;
  std::map<std::string, std::string> attributes;

  bool Has(const std::string& attribute) const { return attributes.count(attribute) != 0; }
  // "<missing>" when there is no such attribute.
  std::string Get(const std::string& attribute) const {
    return Has(attribute) ? attributes.at(attribute) : "<missing>";
  }
};

struct WrittenProfile {
  std::string text;
  ProfileElement message;  // the "system-profile" element itself
  std::vector<ProfileElement> children;

  std::vector<const ProfileElement*> All(const std::string& name) const;
};

// Built once per test program for each combination of flags (on Windows
// each costs a dozen WMI queries). Fails the test unless the profile is one
// self-closing child a line, in the profile's order, with one "domain" and
// one "time-zone".
const WrittenProfile& ThisMachinesProfile(bool fullData, bool omitPersonalInfo);

}  // namespace test
}  // namespace qz

#endif  // QZ_TESTS_PROFILE_WRITTENPROFILE_H
