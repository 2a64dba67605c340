#include "tools/system/childprocess.h"

#include <windows.h>

#include <algorithm>
#include <array>

#include "tools/system/win32/utf8.h"

namespace tools::system {
namespace {

void CloseOnce(HANDLE* handle) {
  if (*handle != nullptr) CloseHandle(*handle);
  *handle = nullptr;
}

// One word of a command line, quoted for the child's C runtime: a backslash needs escaping only
// before a quotation mark.
std::wstring Quoted(const std::wstring& word) {
  std::wstring text = L"\"";
  std::size_t backslashes = 0;
  for (const wchar_t c : word) {
    if (c == L'"') text.append(backslashes + 1, L'\\');
    backslashes = c == L'\\' ? backslashes + 1 : 0;
    text.push_back(c);
  }
  text.append(backslashes, L'\\');
  return text + L"\"";
}

// The child can inherit both ends; call KeepFromChild on the parent's.
bool MakePipe(HANDLE* readEnd, HANDLE* writeEnd) {
  SECURITY_ATTRIBUTES inherit = {sizeof(inherit), nullptr, TRUE};
  return CreatePipe(readEnd, writeEnd, &inherit, 0) != 0;
}

void KeepFromChild(HANDLE handle) {
  SetHandleInformation(handle, HANDLE_FLAG_INHERIT, 0);
}

// A job that ends its processes when its last handle is closed, at the latest when this process
// ends.
HANDLE MakeJob() {
  const HANDLE job = CreateJobObjectW(nullptr, nullptr);
  if (job == nullptr) return nullptr;
  JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits = {};
  limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
  SetInformationJobObject(job, JobObjectExtendedLimitInformation, &limits, sizeof(limits));
  return job;
}

}  // namespace

struct ChildProcess::State {
  HANDLE process = nullptr;
  HANDLE job = nullptr;
  HANDLE input = nullptr;   // our end of the child's standard input
  HANDLE output = nullptr;  // our end of its standard output
  DWORD processId = 0;
};

ChildProcess::ChildProcess() : m_state(std::make_unique<State>()) {}

ChildProcess::~ChildProcess() {
  End(2000);
  CloseOnce(&m_state->output);
  CloseOnce(&m_state->process);
  CloseOnce(&m_state->job);
}

bool ChildProcess::Start(const std::string& program, const std::vector<std::string>& arguments,
                         std::string* error) {
  HANDLE childsInput = nullptr;
  HANDLE childsOutput = nullptr;
  PROCESS_INFORMATION process = {};
  bool started =
      MakePipe(&childsInput, &m_state->input) && MakePipe(&m_state->output, &childsOutput);
  if (started) {
    KeepFromChild(m_state->input);
    KeepFromChild(m_state->output);
    const std::wstring path = win32::ToWide(program);
    std::wstring line = Quoted(path);
    for (const std::string& argument : arguments) line += L" " + Quoted(win32::ToWide(argument));
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = childsInput;
    startup.hStdOutput = childsOutput;
    startup.hStdError = GetStdHandle(STD_ERROR_HANDLE);
    // Suspended until it is in the job, so that it can't start a process outside it. In its own
    // process group, so that the user's Ctrl-C reaches only the parent.
    started = CreateProcessW(path.c_str(), line.data(), nullptr, nullptr, TRUE,
                             CREATE_SUSPENDED | CREATE_NEW_PROCESS_GROUP, nullptr, nullptr,
                             &startup, &process) != 0;
  }
  if (!started) *error = "error " + std::to_string(GetLastError());
  CloseOnce(&childsInput);
  CloseOnce(&childsOutput);
  if (!started) {
    CloseOnce(&m_state->input);
    CloseOnce(&m_state->output);
    return false;
  }
  m_state->job = MakeJob();
  if (m_state->job != nullptr) AssignProcessToJobObject(m_state->job, process.hProcess);
  ResumeThread(process.hThread);
  CloseHandle(process.hThread);
  m_state->process = process.hProcess;
  m_state->processId = process.dwProcessId;
  return true;
}

ChildProcess::ReadResult ChildProcess::ReadLine(std::string* line, std::uint32_t milliseconds) {
  const ULONGLONG end = GetTickCount64() + milliseconds;
  for (;;) {
    if (const std::size_t lineEnd = m_read.find('\n'); lineEnd != std::string::npos) {
      *line = m_read.substr(0, lineEnd);
      if (line->ends_with('\r')) line->pop_back();
      m_read.erase(0, lineEnd + 1);
      return ReadResult::kLine;
    }
    // Windows can't wait for data in an anonymous pipe, so poll.
    DWORD waiting = 0;
    std::array<char, 4096> buffer;
    DWORD got = 0;
    if (PeekNamedPipe(m_state->output, nullptr, 0, nullptr, &waiting, nullptr) == 0) {
      if (m_read.empty()) return ReadResult::kEnd;
      m_read.push_back('\n');
    } else if (waiting != 0) {
      const DWORD wanted = std::min<DWORD>(waiting, static_cast<DWORD>(buffer.size()));
      if (ReadFile(m_state->output, buffer.data(), wanted, &got, nullptr) != 0) {
        m_read.append(buffer.data(), got);
      }
    } else if (GetTickCount64() >= end) {
      return ReadResult::kTimeOut;
    } else {
      Sleep(1);
    }
  }
}

bool ChildProcess::WaitForEnd(std::uint32_t milliseconds, int* status) {
  *status = -1;
  if (m_state->process == nullptr) return false;
  if (WaitForSingleObject(m_state->process, milliseconds) != WAIT_OBJECT_0) return false;
  DWORD code = 0;
  GetExitCodeProcess(m_state->process, &code);
  *status = static_cast<int>(code);
  return true;
}

int ChildProcess::End(std::uint32_t milliseconds) {
  int status = -1;
  CloseOnce(&m_state->input);
  if (m_state->process != nullptr && !WaitForEnd(milliseconds, &status)) {
    Kill();
    WaitForEnd(INFINITE, &status);
  }
  return status;
}

void ChildProcess::Interrupt() {
  CloseOnce(&m_state->input);
}

void ChildProcess::Kill() {
  if (m_state->process != nullptr) TerminateProcess(m_state->process, 1);
}

std::uint32_t ChildProcess::ProcessId() const {
  return m_state->processId;
}

bool StandardInputEnded() {
  const HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
  // A console's input never ends. A file, the null device and a missing input count as ended.
  DWORD mode = 0;
  if (GetConsoleMode(input, &mode) != 0) return false;
  if (GetFileType(input) != FILE_TYPE_PIPE) return true;
  for (;;) {
    DWORD waiting = 0;
    if (PeekNamedPipe(input, nullptr, 0, nullptr, &waiting, nullptr) == 0) return true;
    if (waiting == 0) return false;
    std::array<char, 256> dropped;
    DWORD got = 0;
    const DWORD wanted = std::min<DWORD>(waiting, static_cast<DWORD>(dropped.size()));
    if (ReadFile(input, dropped.data(), wanted, &got, nullptr) == 0) return true;
  }
}

}  // namespace tools::system
