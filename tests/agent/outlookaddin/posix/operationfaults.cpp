#include "tests/agent/outlookaddin/posix/operationfaults.h"

#include <array>
#include <type_traits>
#include <utility>

#include "platform/clock.h"
#include "platform/codepages.h"
#include "platform/diagnostics.h"
#include "platform/files.h"
#include "platform/folders.h"
#include "platform/formatting.h"
#include "platform/handles.h"
#include "platform/mapi.h"
#include "platform/mappings.h"
#include "platform/moduleimage.h"
#include "platform/process.h"
#include "platform/registry.h"
#include "platform/scopedreplacement.h"
#include "platform/security.h"
#include "platform/sockets.h"
#include "platform/ui.h"

namespace tests {
namespace {

template <auto& Table, auto Entry>
class EntryGuard final : public OperationGuard {
 public:
  template <typename Failure>
  EntryGuard(FaultPlan* plan, const std::string& name, Failure failure)
      : m_guard([plan, name, failure](auto original, auto... arguments) {
          return plan->Fails(name) ? failure(original, arguments...) : original(arguments...);
        }) {}

 private:
  platform::ScopedReplacement<Table, Entry> m_guard;
};

// Ways of failing. Nothing is done, and that value is given:
template <typename Value>
auto Gives(Value value) {
  return [value](auto original, auto... arguments) {
    return static_cast<decltype(original(arguments...))>(value);
  };
}

// What gives something back does so all the same, and says that it didn't: that the system keeps
// it isn't the add-in's to answer for.
template <typename Value>
auto DoesAndGives(Value value) {
  return [value](auto original, auto... arguments) {
    original(arguments...);
    return static_cast<decltype(original(arguments...))>(value);
  };
}

// Operations without a result do nothing, and some can't fail on any system.
constexpr auto kDoesNothing = [](auto, auto...) {};
constexpr auto kCannotFail = [](auto original, auto... arguments) {
  return original(arguments...);
};

// A read or write that moves no byte.
constexpr auto kMovesNothing = [](auto, auto, auto*, std::uint32_t, std::uint32_t* moved) {
  *moved = 0;
  return false;
};

constexpr auto kNull = nullptr;
constexpr auto kFailed = static_cast<std::int32_t>(0x80004005);
constexpr auto kNoMemory = static_cast<std::int32_t>(0x8007000E);
constexpr std::uint32_t kNoPosition = 0xFFFFFFFF;
constexpr int kSocketError = -1;
constexpr int kNoSockets = 10091;
constexpr platform::RegistryResult kAccessDenied = 5;

template <auto& Table, auto Entry, typename Failure>
Operation Make(const char* table, const char* name, Failure failure) {
  const std::string whole = std::string(table) + "." + name;
  return {table, whole, [whole, failure](FaultPlan* plan) -> std::unique_ptr<OperationGuard> {
            return std::make_unique<EntryGuard<Table, Entry>>(plan, whole, failure);
          }};
}

// As many as the table has entries: with one more it doesn't compile, and one that is missing is
// found by its empty name.
template <typename Operations>
using AllOf = std::array<Operation, sizeof(Operations) / sizeof(void (*)())>;

#define OPERATION(table, type, entry, failure) \
  Make<platform::table, &platform::type::entry>(#table, #entry, failure)

AllOf<platform::ClockOperations> Clock() {
  return {OPERATION(clock, ClockOperations, GetTickCount, Gives(0)),
          OPERATION(clock, ClockOperations, GetLocalTime, kDoesNothing),
          OPERATION(clock, ClockOperations, Sleep, kDoesNothing)};
}

AllOf<platform::CodePageOperations> CodePages() {
  return {OPERATION(codepages, CodePageOperations, WideCharToMultiByte, Gives(0)),
          OPERATION(codepages, CodePageOperations, MultiByteToWideChar, Gives(0))};
}

AllOf<platform::DiagnosticsOperations> Diagnostics() {
  return {OPERATION(diagnostics, DiagnosticsOperations, OutputDebugStringA, kDoesNothing),
          OPERATION(diagnostics, DiagnosticsOperations, OutputDebugStringW, kDoesNothing),
          OPERATION(diagnostics, DiagnosticsOperations, InvalidParameter, kDoesNothing)};
}

AllOf<platform::FileOperations> Files() {
  return {OPERATION(files, FileOperations, CreateFileA, Gives(platform::kInvalidHandle)),
          OPERATION(files, FileOperations, CreateFileW, Gives(platform::kInvalidHandle)),
          OPERATION(files, FileOperations, ReadFile, kMovesNothing),
          OPERATION(files, FileOperations, WriteFile, kMovesNothing),
          OPERATION(files, FileOperations, SetFilePointer, Gives(kNoPosition)),
          OPERATION(files, FileOperations, DeleteFileA, Gives(false)),
          OPERATION(files, FileOperations, DeleteFileW, Gives(false)),
          OPERATION(files, FileOperations, SetFileAttributesW, Gives(false)),
          OPERATION(files, FileOperations, GetFileAttributesExW, Gives(false)),
          OPERATION(files, FileOperations, FindFirstFileA, Gives(platform::kInvalidHandle)),
          OPERATION(files, FileOperations, FindNextFileA, Gives(false)),
          OPERATION(files, FileOperations, FindClose, DoesAndGives(false))};
}

AllOf<platform::FolderOperations> Folders() {
  return {OPERATION(folders, FolderOperations, GetTempPathA, Gives(0)),
          OPERATION(folders, FolderOperations, GetTempPathW, Gives(0)),
          OPERATION(folders, FolderOperations, GetWindowsDirectoryA, Gives(0)),
          OPERATION(folders, FolderOperations, GetSystemDirectoryA, Gives(0)),
          OPERATION(folders, FolderOperations, SHGetFolderPathA, Gives(kFailed))};
}

AllOf<platform::FormattingOperations> Formatting() {
  return {OPERATION(formatting, FormattingOperations, Format, Gives(-1)),
          OPERATION(formatting, FormattingOperations, CreateLocale, Gives(kNull)),
          OPERATION(formatting, FormattingOperations, FreeLocale, kCannotFail)};
}

AllOf<platform::HandleOperations> Handles() {
  return {OPERATION(handles, HandleOperations, CloseHandle, DoesAndGives(false))};
}

AllOf<platform::MapiOperations> Mapi() {
  return {OPERATION(mapi, MapiOperations, MAPIAllocateBuffer, Gives(kNoMemory)),
          OPERATION(mapi, MapiOperations, HrSetOneProp, Gives(kFailed))};
}

AllOf<platform::MappingOperations> Mappings() {
  return {OPERATION(mappings, MappingOperations, OpenFileMappingA, Gives(kNull)),
          OPERATION(mappings, MappingOperations, CreateFileMappingA, Gives(kNull)),
          OPERATION(mappings, MappingOperations, MapViewOfFile, Gives(kNull)),
          OPERATION(mappings, MappingOperations, UnmapViewOfFile, DoesAndGives(false))};
}

AllOf<platform::ModuleImageOperations> ModuleImage() {
  using platform::ModuleImageOperations;
  return {OPERATION(moduleImage, ModuleImageOperations, GetModuleFileNameW, Gives(0)),
          OPERATION(moduleImage, ModuleImageOperations, FindResourceBytes, Gives(false)),
          OPERATION(moduleImage, ModuleImageOperations, CreateLock, Gives(kNull)),
          OPERATION(moduleImage, ModuleImageOperations, EnterLock, kCannotFail),
          OPERATION(moduleImage, ModuleImageOperations, LeaveLock, kCannotFail),
          OPERATION(moduleImage, ModuleImageOperations, DeleteLock, kCannotFail),
          OPERATION(moduleImage, ModuleImageOperations, EncodePointer, kCannotFail),
          OPERATION(moduleImage, ModuleImageOperations, DecodePointer, kCannotFail)};
}

AllOf<platform::ProcessOperations> Process() {
  return {OPERATION(process, ProcessOperations, GetCurrentProcessId, Gives(0)),
          OPERATION(process, ProcessOperations, GetCurrentThreadId, Gives(0)),
          OPERATION(process, ProcessOperations, GetComputerNameW, Gives(false))};
}

AllOf<platform::RegistryOperations> Registry() {
  return {OPERATION(registry, RegistryOperations, CreateKey, Gives(kAccessDenied)),
          OPERATION(registry, RegistryOperations, OpenKey, Gives(kAccessDenied)),
          OPERATION(registry, RegistryOperations, CloseKey, kCannotFail),
          OPERATION(registry, RegistryOperations, DeleteTree, Gives(kAccessDenied)),
          OPERATION(registry, RegistryOperations, SetString, Gives(kAccessDenied)),
          OPERATION(registry, RegistryOperations, GetString, Gives(kAccessDenied))};
}

AllOf<platform::SecurityOperations> Security() {
  using platform::SecurityOperations;
  return {OPERATION(security, SecurityOperations,
                    ConvertStringSecurityDescriptorToSecurityDescriptorW, Gives(false)),
          OPERATION(security, SecurityOperations, SetSecurityDescriptorDacl, Gives(false)),
          OPERATION(security, SecurityOperations, LocalFree, kCannotFail)};
}

AllOf<platform::SocketOperations> Sockets() {
  return {OPERATION(sockets, SocketOperations, WSAStartup, Gives(kNoSockets)),
          OPERATION(sockets, SocketOperations, CreateSocket, Gives(platform::kInvalidSocket)),
          OPERATION(sockets, SocketOperations, ParseAddress, Gives(platform::kAddressNone)),
          OPERATION(sockets, SocketOperations, Connect, Gives(kSocketError)),
          OPERATION(sockets, SocketOperations, Send, Gives(kSocketError)),
          OPERATION(sockets, SocketOperations, CloseSocket, DoesAndGives(kSocketError))};
}

AllOf<platform::UserInterfaceOperations> UserInterface() {
  using platform::UserInterfaceOperations;
  return {OPERATION(ui, UserInterfaceOperations, LoadCursorW, Gives(kNull)),
          OPERATION(ui, UserInterfaceOperations, SetCursor, Gives(kNull)),
          OPERATION(ui, UserInterfaceOperations, GetActiveWindow, Gives(kNull)),
          OPERATION(ui, UserInterfaceOperations, SetTimer, Gives(0)),
          OPERATION(ui, UserInterfaceOperations, KillTimer, Gives(false)),
          OPERATION(ui, UserInterfaceOperations, RunMessageLoop, kDoesNothing)};
}

#undef OPERATION

}  // namespace

bool FaultPlan::Fails(const std::string& name) {
  if (isSuspended) return false;
  const int number = ++calls[name];
  if (name != operation || (call != 0 && call != number)) return false;
  ++given;
  return true;
}

std::vector<Operation> AllOperations() {
  std::vector<Operation> all;
  const auto add = [&](auto table) {
    for (Operation& operation : table) all.push_back(std::move(operation));
  };
  add(Clock());
  add(CodePages());
  add(Diagnostics());
  add(Files());
  add(Folders());
  add(Formatting());
  add(Handles());
  add(Mapi());
  add(Mappings());
  add(ModuleImage());
  add(Process());
  add(Registry());
  add(Security());
  add(Sockets());
  add(UserInterface());
  return all;
}

FaultyPlatform::FaultyPlatform(FaultPlan* plan) {
  for (const Operation& operation : AllOperations()) m_guards.push_back(operation.guard(plan));
}

FaultyPlatform::~FaultyPlatform() {
  while (!m_guards.empty()) m_guards.pop_back();
}

}  // namespace tests
