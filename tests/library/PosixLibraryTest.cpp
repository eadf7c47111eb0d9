// libqz.so as a host uses it: an exported class, and loading and unloading.
#include <gtest/gtest.h>

#include <string>

#include "LibraryCopy.h"
#include "qz/StringBuf.h"

namespace {

TEST(PosixLibraryTest, ExportedStringBufWorks) {
  qz::StringBuf text(QZ_TEXT("abc"));
  text.Append(QZ_TEXT("-")).Append(static_cast<int32_t>(42), 10).ToUpperCase();
  EXPECT_EQ(6u, text.StrLen());
  EXPECT_EQ(std::u16string(u"ABC-42"), std::u16string(text.ToString()));
}

// Each load of the copy runs the load step and each unload the unload step.
TEST(PosixLibraryTest, RepeatedLoadAndUnloadOfACopyIsClean) {
  LibraryCopy copy;
  ASSERT_FALSE(copy.Path().empty()) << "libqz.so could not be copied";
  for (int round = 0; round < 3; ++round) {
    ASSERT_TRUE(copy.Load());
    EXPECT_TRUE(copy.Unload());
    // Something pinning the object (a unique symbol, a thread left running)
    // would keep the unload step from ever running.
    EXPECT_FALSE(copy.IsLoaded()) << "round " << round << ": the copy stayed loaded after dlclose";
  }

  // The linked library is untouched by the copy coming and going.
  qz::StringBuf text(QZ_TEXT("still here"));
  EXPECT_EQ(10u, text.StrLen());
}

}  // namespace
