// Test programs link the core directly, so they run the load step themselves.
#include <gtest/gtest.h>

#include "platform/LibraryLoad.h"

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  qz::CreatePlatform();
  int result = RUN_ALL_TESTS();
  qz::DestroyPlatform();
  return result;
}
