// Test programs link the core directly, so they run the load step themselves.
// Offline storage goes to a folder of the program's own, never to the real
// data folders; "--qz-helper NAME ARGS..." runs a helper instead of the tests.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/LibraryLoad.h"
#include "support/HelperProcess.h"
#include "support/StorageFolder.h"

int main(int argc, char** argv) {
  if (argc >= 3 && std::string(argv[1]) == "--qz-helper") {
    qz::CreatePlatform();
    const int result = qz::test::RunHelper(argv[2], std::vector<std::string>(argv + 3, argv + argc));
    qz::DestroyPlatform();
    return result;
  }
  ::testing::InitGoogleTest(&argc, argv);
  qz::CreatePlatform();
  int result;
  {
    qz::test::StorageFolder storage;
    result = RUN_ALL_TESTS();
  }
  qz::DestroyPlatform();
  return result;
}
