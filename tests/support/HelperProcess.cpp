#include "support/HelperProcess.h"

#include <map>

namespace qz {
namespace test {
namespace {

std::map<std::string, HelperFunction>& Helpers() {
  static std::map<std::string, HelperFunction> helpers;
  return helpers;
}

}  // namespace

HelperRegistration::HelperRegistration(const char* name, HelperFunction function) {
  Helpers()[name] = function;
}

int RunHelper(const std::string& name, const std::vector<std::string>& args) {
  auto found = Helpers().find(name);
  return found == Helpers().end() ? 127 : found->second(args);
}

HelperProcess::~HelperProcess() { Kill(); }

}  // namespace test
}  // namespace qz
