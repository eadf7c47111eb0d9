#include <windows.h>

#include "LibraryCopy.h"

namespace {

std::wstring Wide(const std::string& text) { return std::wstring(text.begin(), text.end()); }

}  // namespace

LibraryCopy::LibraryCopy() {
  char original[MAX_PATH];
  char temp[MAX_PATH];
  DWORD length = GetModuleFileNameA(GetModuleHandleW(L"qzwin32.dll"), original, MAX_PATH);
  if (length == 0 || length >= MAX_PATH || GetTempPathA(MAX_PATH, temp) == 0) return;
  folder = std::string(temp) + "qz-library-" + std::to_string(GetCurrentProcessId());
  if (!CreateDirectoryA(folder.c_str(), nullptr) && GetLastError() != ERROR_ALREADY_EXISTS) return;
  const std::string copy = folder + "\\qzcopy.dll";
  if (CopyFileA(original, copy.c_str(), FALSE)) path = copy;
}

LibraryCopy::~LibraryCopy() {
  if (!folder.empty()) {
    DeleteFileW(Wide(folder + "\\qzcopy.dll").c_str());
    RemoveDirectoryA(folder.c_str());
  }
}

bool LibraryCopy::Load() {
  handle = LoadLibraryW(Wide(path).c_str());
  return handle != nullptr;
}

bool LibraryCopy::Unload() {
  return handle != nullptr && FreeLibrary(static_cast<HMODULE>(handle)) != FALSE;
}

bool LibraryCopy::IsLoaded() const { return GetModuleHandleW(Wide(path).c_str()) != nullptr; }

void* LibraryCopy::Symbol(const char* name) const {
  return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(handle), name));
}
