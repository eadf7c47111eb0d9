#include <dlfcn.h>
#include <link.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstring>
#include <fstream>

#include "LibraryCopy.h"

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

}  // namespace

LibraryCopy::LibraryCopy() {
  const std::string original = LinkedLibraryPath();
  char dir[] = "/tmp/qz-library-XXXXXX";
  if (original.empty() || mkdtemp(dir) == nullptr) return;
  folder = dir;
  std::ifstream in(original, std::ios::binary);
  std::ofstream out(folder + "/libqz-copy.so", std::ios::binary);
  out << in.rdbuf();
  if (in.good() && out.good()) path = folder + "/libqz-copy.so";
}

LibraryCopy::~LibraryCopy() {
  if (!folder.empty()) {
    unlink((folder + "/libqz-copy.so").c_str());
    rmdir(folder.c_str());
  }
}

bool LibraryCopy::Load() {
  handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  return handle != nullptr;
}

bool LibraryCopy::Unload() { return handle != nullptr && dlclose(handle) == 0; }

bool LibraryCopy::IsLoaded() const {
  void* probe = dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
  if (probe == nullptr) return false;
  dlclose(probe);
  return true;
}

void* LibraryCopy::Symbol(const char* name) const { return dlsym(handle, name); }
