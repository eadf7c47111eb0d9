// libqz.so as a host uses it: an exported class, and loading and unloading.
#include <dlfcn.h>
#include <link.h>
#include <stdlib.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <string>

#include "qz/StringBuf.h"

namespace {

// Where the dynamic linker found the libqz.so this program is linked with
// (by its SONAME, libqz.so.1).
std::string LinkedLibraryPath() {
  std::string path;
  dl_iterate_phdr(
      [](dl_phdr_info* info, size_t, void* data) {
        const char* name = info->dlpi_name;
        const char* slash = name != nullptr ? strrchr(name, '/') : nullptr;
        if (slash != nullptr && strncmp(slash + 1, "libqz.so", 8) == 0) {
          *static_cast<std::string*>(data) = name;
          return 1;
        }
        return 0;
      },
      &path);
  return path;
}

TEST(PosixLibraryTest, ExportedStringBufWorks) {
  qz::StringBuf text(QZ_TEXT("abc"));
  text.Append(QZ_TEXT("-")).Append(static_cast<int32_t>(42), 10).ToUpperCase();
  EXPECT_EQ(6u, text.StrLen());
  EXPECT_EQ(std::u16string(u"ABC-42"), std::u16string(text.ToString()));
}

// The linked library is loaded once for good; a copy under another name is a
// separate object, so each dlopen runs the load step and each dlclose the unload step.
TEST(PosixLibraryTest, RepeatedLoadAndUnloadOfACopyIsClean) {
  std::string original = LinkedLibraryPath();
  ASSERT_FALSE(original.empty()) << "libqz.so is not among the loaded objects";

  char dir[] = "/tmp/qz-library-XXXXXX";
  ASSERT_NE(nullptr, mkdtemp(dir));
  std::string copy = std::string(dir) + "/libqz-copy.so";
  {
    std::ifstream in(original, std::ios::binary);
    std::ofstream out(copy, std::ios::binary);
    out << in.rdbuf();
    ASSERT_TRUE(in.good() && out.good()) << "copying " << original << " failed";
  }

  for (int round = 0; round < 3; ++round) {
    void* handle = dlopen(copy.c_str(), RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(nullptr, handle) << dlerror();
    EXPECT_EQ(0, dlclose(handle)) << dlerror();
    // Something pinning the object (a unique symbol, a thread left running)
    // would keep the unload step from ever running.
    void* still = dlopen(copy.c_str(), RTLD_NOW | RTLD_NOLOAD);
    EXPECT_EQ(nullptr, still) << "round " << round << ": the copy stayed loaded after dlclose";
    if (still != nullptr) dlclose(still);
  }

  unlink(copy.c_str());
  rmdir(dir);

  // The linked library is untouched by the copy coming and going.
  qz::StringBuf text(QZ_TEXT("still here"));
  EXPECT_EQ(10u, text.StrLen());
}

}  // namespace
