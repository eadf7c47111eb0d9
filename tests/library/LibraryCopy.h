// A copy of the shared library under another name, loaded and unloaded the
// way a host does it. The loader counts the copy apart from the library this
// program links, so each load and unload of the copy is a real one.
#ifndef QZ_TESTS_LIBRARY_LIBRARYCOPY_H
#define QZ_TESTS_LIBRARY_LIBRARYCOPY_H

#include <string>

class LibraryCopy {
 public:
  // Copies the linked library into a temporary folder; Path() is empty when
  // that failed.
  LibraryCopy();
  // Removes the copy (left behind if it is still loaded).
  ~LibraryCopy();
  LibraryCopy(const LibraryCopy&) = delete;
  LibraryCopy& operator=(const LibraryCopy&) = delete;

  const std::string& Path() const { return path; }
  // One more reference of this host's; false when loading failed.
  bool Load();
  // Drops one reference of this host's.
  bool Unload();
  // Whether the copy is in the process at all, whoever holds it.
  bool IsLoaded() const;
  // An exported function of the copy, from the last Load.
  template <typename Function>
  Function* Get(const char* name) const {
    return reinterpret_cast<Function*>(Symbol(name));
  }

 private:
  void* Symbol(const char* name) const;

  std::string folder;
  std::string path;
  void* handle = nullptr;
};

#endif  // QZ_TESTS_LIBRARY_LIBRARYCOPY_H
