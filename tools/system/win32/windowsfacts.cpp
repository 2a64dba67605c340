#include "tools/system/windowsfacts.h"

#include <windows.h>

#include <psapi.h>
#include <tlhelp32.h>

#include <algorithm>
#include <cstring>
#include <ctime>

#include "tools/system/win32/utf8.h"

namespace tools::system {

namespace {

constexpr std::size_t kMostEventsRead = 5'000;
constexpr DWORD kEventBuffer = 0x10000;
constexpr DWORD kPathSize = 32'768;

std::string ErrorText(DWORD error) {
  if (error == ERROR_ACCESS_DENIED) return "access is denied";
  return "error " + std::to_string(error);
}

bool IsSystem64() {
  if (sizeof(void*) == 8) return true;
  BOOL isWow = FALSE;
  return IsWow64Process(GetCurrentProcess(), &isWow) && isWow;
}

// GetVersionEx lies to programs without a manifest.
std::string WindowsVersion() {
  using RtlGetVersion = LONG(WINAPI*)(OSVERSIONINFOW*);
  const auto function = reinterpret_cast<RtlGetVersion>(
      reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "RtlGetVersion")));
  OSVERSIONINFOW version = {};
  version.dwOSVersionInfoSize = sizeof version;
  if (function == nullptr || function(&version) != 0) return "Windows";
  return "Windows " + std::to_string(version.dwMajorVersion) + "." +
         std::to_string(version.dwMinorVersion) + "." + std::to_string(version.dwBuildNumber);
}

void ListLibraries(RunningProgram* program) {
  const HANDLE process =
      OpenProcess(PROCESS_QUERY_INFORMATION | PROCESS_VM_READ, FALSE, program->processId);
  if (process == nullptr) {
    program->problem = ErrorText(GetLastError());
    return;
  }
  std::vector<HMODULE> modules(2'048);
  const auto room = static_cast<DWORD>(modules.size() * sizeof(HMODULE));
  DWORD size = 0;
  if (!EnumProcessModulesEx(process, modules.data(), room, &size, LIST_MODULES_ALL)) {
    program->problem = ErrorText(GetLastError());
    size = 0;
  }
  modules.resize(std::min(size, room) / sizeof(HMODULE));
  std::wstring path(kPathSize, L'\0');
  for (const HMODULE module : modules) {
    const DWORD length = GetModuleFileNameExW(process, module, path.data(), kPathSize);
    program->libraries.push_back(win32::ToUtf8(std::wstring_view(path).substr(0, length)));
  }
  CloseHandle(process);
}

std::string LocalTimeText(DWORD secondsSince1970) {
  const std::time_t seconds = secondsSince1970;
  char text[32] = "";
  if (const std::tm* const time = std::localtime(&seconds)) {
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", time);
  }
  return text;
}

LoggedEvent EventOf(const EVENTLOGRECORD& record) {
  LoggedEvent event;
  event.id = record.EventID & 0xFFFF;
  event.time = LocalTimeText(record.TimeGenerated);
  const auto* const bytes = reinterpret_cast<const unsigned char*>(&record);
  const auto* text = reinterpret_cast<const wchar_t*>(bytes + record.StringOffset);
  for (WORD i = 0; i < record.NumStrings; ++i) {
    const std::wstring_view one(text);
    event.text += win32::ToUtf8(one) + "\n";
    text += one.size() + 1;
  }
  return event;
}

}  // namespace

SystemFacts ReadSystemFacts() {
  SystemFacts facts;
  facts.isWindows = true;
  facts.bits = IsSystem64() ? 64 : 32;
  facts.name = WindowsVersion() + ", " + std::to_string(facts.bits) + "-bit";
  wchar_t text[MAX_PATH] = L"";
  DWORD size = MAX_PATH;
  if (GetComputerNameW(text, &size)) facts.computer = win32::ToUtf8(text);
  GetWindowsDirectoryW(text, MAX_PATH);
  const std::string windows = win32::ToUtf8(text);
  const bool isWow = sizeof(void*) == 4 && facts.bits == 64;
  if (facts.bits == 64) facts.folder64 = windows + (isWow ? "\\Sysnative" : "\\System32");
  facts.folder32 = windows + (facts.bits == 64 && !isWow ? "\\SysWOW64" : "\\System32");
  return facts;
}

std::vector<RunningProgram> RunningPrograms(const std::string& name) {
  std::vector<RunningProgram> found;
  const HANDLE list = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
  if (list == INVALID_HANDLE_VALUE) return found;
  const std::wstring wanted = win32::ToWide(name);
  PROCESSENTRY32W entry = {};
  entry.dwSize = sizeof entry;
  for (BOOL more = Process32FirstW(list, &entry); more; more = Process32NextW(list, &entry)) {
    if (lstrcmpiW(entry.szExeFile, wanted.c_str()) != 0) continue;
    RunningProgram& program = found.emplace_back();
    program.processId = entry.th32ProcessID;
    ListLibraries(&program);
  }
  CloseHandle(list);
  return found;
}

std::vector<LoggedEvent> ReadEvents(const std::string& source, std::size_t most,
                                    std::string* problem) {
  std::vector<LoggedEvent> events;
  const HANDLE log = OpenEventLogW(nullptr, L"Application");
  if (log == nullptr) {
    *problem = ErrorText(GetLastError());
    return events;
  }
  const std::wstring wanted = win32::ToWide(source);
  std::vector<unsigned char> buffer(kEventBuffer);
  std::size_t seen = 0;
  DWORD read = 0;
  DWORD needed = 0;
  while (seen < kMostEventsRead && events.size() < most &&
         ReadEventLogW(log, EVENTLOG_SEQUENTIAL_READ | EVENTLOG_BACKWARDS_READ, 0, buffer.data(),
                       kEventBuffer, &read, &needed) &&
         read > 0) {
    for (DWORD at = 0; at + sizeof(EVENTLOGRECORD) <= read && events.size() < most;) {
      const auto& record = *reinterpret_cast<const EVENTLOGRECORD*>(buffer.data() + at);
      if (record.Length == 0) break;
      const auto* const name = reinterpret_cast<const wchar_t*>(buffer.data() + at + sizeof record);
      if (lstrcmpiW(name, wanted.c_str()) == 0) events.push_back(EventOf(record));
      at += record.Length;
      ++seen;
    }
  }
  CloseEventLog(log);
  return events;
}

}  // namespace tools::system
