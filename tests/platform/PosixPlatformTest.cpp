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
  ASSERT_EQ(pipe(fds), 0);
  pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    std::string guid = NewGuid();
    ssize_t written = write(fds[1], guid.data(), guid.size());
    _exit(written == static_cast<ssize_t>(guid.size()) ? 0 : 1);
  }
  close(fds[1]);
  std::string parent = NewGuid();
  char buffer[64] = {};
  ssize_t n = read(fds[0], buffer, sizeof buffer);
  close(fds[0]);
  int status = 0;
  waitpid(child, &status, 0);
  ASSERT_EQ(n, 36);
  EXPECT_NE(std::string(buffer, 36), parent);
  // Random GUIDs: version 4, RFC 4122 variant.
  EXPECT_EQ(parent[14], '4') << parent;
  EXPECT_NE(std::string("89AB").find(parent[19]), std::string::npos) << parent;
}

}  // namespace
}  // namespace qz
