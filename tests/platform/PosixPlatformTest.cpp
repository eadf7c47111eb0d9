#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <string>

#include "platform/Platform.h"
#include "support/TestText.h"

namespace qz {
namespace {

std::string NewGuid() {
  StringBuf guid;
  Platform::NewGUID(guid);
  return test::U8(guid.ToString());
}

TEST(PosixPlatform, ForkedChildDoesNotRepeatItsParentsGuids) {
  int fds[2];
  ASSERT_EQ(0, pipe(fds));
  pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    std::string guid = NewGuid();
    _exit(write(fds[1], guid.data(), guid.size()) == static_cast<ssize_t>(guid.size()) ? 0 : 1);
  }
  close(fds[1]);
  std::string parent = NewGuid();
  char buffer[64] = {};
  ssize_t n = read(fds[0], buffer, sizeof buffer);
  close(fds[0]);
  waitpid(child, nullptr, 0);
  ASSERT_EQ(36, n);
  EXPECT_NE(std::string(buffer, 36), parent);
  // Random GUIDs: version 4, RFC 4122 variant.
  EXPECT_EQ('4', parent[14]) << parent;
  EXPECT_NE(std::string::npos, std::string("89AB").find(parent[19])) << parent;
}

}  // namespace
}  // namespace qz
