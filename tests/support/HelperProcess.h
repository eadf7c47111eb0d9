// A test program can start itself again as a helper process, which runs one
// registered function instead of the tests: for tests of what several
// processes do at once. TestMain runs "<program> --qz-helper NAME ARGS...".
#ifndef QZ_TESTS_SUPPORT_HELPERPROCESS_H
#define QZ_TESTS_SUPPORT_HELPERPROCESS_H

#include <cstdint>
#include <string>
#include <vector>

namespace qz {
namespace test {

// Returns the helper process's exit code.
using HelperFunction = int (*)(const std::vector<std::string>& args);

// At namespace scope: static HelperRegistration registration("name", &Function);
struct HelperRegistration {
  HelperRegistration(const char* name, HelperFunction function);
};

// Runs the helper registered under name; 127 when there is none.
int RunHelper(const std::string& name, const std::vector<std::string>& args);

class HelperProcess {
 public:
  HelperProcess() = default;
  // Ends a helper still running.
  ~HelperProcess();
  HelperProcess(const HelperProcess&) = delete;
  HelperProcess& operator=(const HelperProcess&) = delete;

  bool Start(const std::string& name, const std::vector<std::string>& args);
  // The helper's exit code, or -1 when it had not ended after timeoutMs and was ended.
  int Wait(int timeoutMs);

 private:
  void Kill();

  intptr_t process_ = 0;  // process ID or handle; 0 when none runs
};

}  // namespace test
}  // namespace qz

#endif  // QZ_TESTS_SUPPORT_HELPERPROCESS_H
