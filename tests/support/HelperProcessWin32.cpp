#include <windows.h>

#include "support/HelperProcess.h"

namespace qz {
namespace test {
namespace {

// Quoted for CommandLineToArgvW's rules; the words here hold no quotes.
std::wstring Quoted(const std::string& word) {
  std::wstring text = L"\"";
  for (char c : word) text.push_back(static_cast<wchar_t>(static_cast<unsigned char>(c)));
  return text + L"\"";
}

}  // namespace

bool HelperProcess::Start(const std::string& name, const std::vector<std::string>& args) {
  wchar_t program[MAX_PATH];
  const DWORD length = GetModuleFileNameW(nullptr, program, MAX_PATH);
  if (length == 0 || length >= MAX_PATH) return false;
  std::wstring line = L"\"" + std::wstring(program) + L"\" --qz-helper " + Quoted(name);
  for (const std::string& arg : args) line += L" " + Quoted(arg);
  STARTUPINFOW startup = {};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION info = {};
  if (!CreateProcessW(program, &line[0], nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                      &info)) {
    return false;
  }
  CloseHandle(info.hThread);
  process_ = reinterpret_cast<intptr_t>(info.hProcess);
  return true;
}

int HelperProcess::Wait(int timeoutMs) {
  if (process_ == 0) return -1;
  HANDLE process = reinterpret_cast<HANDLE>(process_);
  if (WaitForSingleObject(process, static_cast<DWORD>(timeoutMs)) != WAIT_OBJECT_0) {
    Kill();
    return -1;
  }
  DWORD code = 0;
  GetExitCodeProcess(process, &code);
  CloseHandle(process);
  process_ = 0;
  return static_cast<int>(code);
}

void HelperProcess::Kill() {
  if (process_ == 0) return;
  HANDLE process = reinterpret_cast<HANDLE>(process_);
  TerminateProcess(process, 1);
  WaitForSingleObject(process, 5000);
  CloseHandle(process);
  process_ = 0;
}

}  // namespace test
}  // namespace qz
