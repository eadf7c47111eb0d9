#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include "support/HelperProcess.h"

namespace qz {
namespace test {

bool HelperProcess::Start(const std::string& name, const std::vector<std::string>& args) {
  std::vector<std::string> words = {"/proc/self/exe", "--qz-helper", name};
  words.insert(words.end(), args.begin(), args.end());
  std::vector<char*> argv;
  for (std::string& word : words) argv.push_back(&word[0]);
  argv.push_back(nullptr);
  const pid_t pid = fork();
  if (pid < 0) return false;
  if (pid == 0) {
    execv(argv[0], argv.data());
    _exit(126);
  }
  process_ = pid;
  return true;
}

int HelperProcess::Wait(int timeoutMs) {
  if (process_ == 0) return -1;
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
  while (std::chrono::steady_clock::now() < deadline) {
    int status = 0;
    if (waitpid(static_cast<pid_t>(process_), &status, WNOHANG) == static_cast<pid_t>(process_)) {
      process_ = 0;
      return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  Kill();
  return -1;
}

void HelperProcess::Kill() {
  if (process_ == 0) return;
  kill(static_cast<pid_t>(process_), SIGKILL);
  waitpid(static_cast<pid_t>(process_), nullptr, 0);
  process_ = 0;
}

}  // namespace test
}  // namespace qz
