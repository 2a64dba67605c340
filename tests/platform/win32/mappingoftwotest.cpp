#include "tests/platform/mappingoftwotests.h"

#include <windows.h>

#include <stdexcept>

namespace {

[[maybe_unused]] const bool s_played = (tests::PlayIfTold(), true);

}  // namespace

namespace tests {

Process::Process(const char* role, const std::string& name) {
  wchar_t program[MAX_PATH] = {};
  GetModuleFileNameW(nullptr, program, MAX_PATH);
  SetEnvironmentVariableA(kRoleVariable, role);
  SetEnvironmentVariableA(kNameVariable, name.c_str());
  STARTUPINFOW startup = {};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION started = {};
  const BOOL done = CreateProcessW(program, nullptr, nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                                   &startup, &started);
  SetEnvironmentVariableA(kRoleVariable, nullptr);
  SetEnvironmentVariableA(kNameVariable, nullptr);
  if (!done) throw std::runtime_error("no second process");
  CloseHandle(started.hThread);
  m_process = reinterpret_cast<std::intptr_t>(started.hProcess);
}

Process::~Process() {
  Kill();
}

void Process::Kill() {
  if (m_process == 0) return;
  TerminateProcess(reinterpret_cast<HANDLE>(m_process), 1);
  Wait();
}

int Process::Wait() {
  const auto handle = reinterpret_cast<HANDLE>(m_process);
  WaitForSingleObject(handle, INFINITE);
  DWORD code = 0;
  GetExitCodeProcess(handle, &code);
  CloseHandle(handle);
  m_process = 0;
  return static_cast<int>(code);
}

}  // namespace tests
