// A system profile built from this machine's platform and written, split
// into its elements so that tests can check its shape without knowing the
// machine.
#ifndef QZ_TESTS_PROFILE_WRITTENPROFILE_H
#define QZ_TESTS_PROFILE_WRITTENPROFILE_H

#include <string>
#include <utility>
#include <vector>

namespace qz {
namespace test {

struct ProfileElement {
  std::string name;
  std::vector<std::pair<std::string, std::string>> attributes;  // in written order

  bool Has(const std::string& attribute) const;
  // "<missing>" when there is no such attribute.
  std::string Get(const std::string& attribute) const;
};

struct WrittenProfile {
  std::string text;
  ProfileElement message;  // the "system-profile" element's own attributes
  std::vector<ProfileElement> children;

  std::vector<const ProfileElement*> All(const std::string& name) const;
};

// Fails the test for a line that is not one element of the expected form.
WrittenProfile SplitProfile(const std::string& text);

// One profile per combination of flags, built once per test program: on
// Windows each costs a dozen WMI queries. Fails the test when the profile
// is not well formed: children in their order, attributes only those the
// element has, in their order, and the ones it always writes.
const WrittenProfile& ThisMachinesProfile(bool fullData, bool omitPersonalInfo);

}  // namespace test
}  // namespace qz

#endif  // QZ_TESTS_PROFILE_WRITTENPROFILE_H
