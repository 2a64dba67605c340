#include "tests/agent/outlookaddin/operationfaults.h"

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
#include "tests/agent/outlookaddin/allocations.h"

namespace tests {
namespace {

template <auto& Table, auto Entry>
class EntryGuard final : public OperationGuard {
 public:
  template <typename Failure>
  EntryGuard(FaultPlan* plan, const std::string& name, Failure failure)
      : m_guard([plan, name, failure](auto original, auto... arguments) {
          const AllocationsDontCount inTheSystem;
          return plan->Fails(name) ? failure(original, arguments...) : original(arguments...);
        }) {}

 private:
  platform::ScopedReplacement<Table, Entry> m_guard;
};

// Fails by doing nothing and returning a value.
template <typename Value>
auto Returns(Value value) {
  return [value](auto original, auto... arguments) {
    return static_cast<decltype(original(arguments...))>(value);
  };
}

// Reports a failure, but does its work: an operation that frees something would otherwise look like
// a leak of the add-in.
template <typename Value>
auto DoesAndReturns(Value value) {
  return [value](auto original, auto... arguments) {
    original(arguments...);
    return static_cast<decltype(original(arguments...))>(value);
  };
}

// For operations without a result, and for operations that never fail.
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

// One for each entry of the table. Too many don't compile; a missing one has an empty name.
template <typename Operations>
using AllOf = std::array<Operation, sizeof(Operations) / sizeof(void (*)())>;

#define OPERATION(table, type, entry, failure) \
  Make<platform::table, &platform::type::entry>(#table, #entry, failure)

AllOf<platform::ClockOperations> Clock() {
  return {OPERATION(clock, ClockOperations, GetTickCount, Returns(0)),
          OPERATION(clock, ClockOperations, GetLocalTime, kDoesNothing),
          OPERATION(clock, ClockOperations, Sleep, kDoesNothing)};
}

AllOf<platform::CodePageOperations> CodePages() {
  return {OPERATION(codepages, CodePageOperations, WideCharToMultiByte, Returns(0)),
          OPERATION(codepages, CodePageOperations, MultiByteToWideChar, Returns(0))};
}

AllOf<platform::DiagnosticsOperations> Diagnostics() {
  return {OPERATION(diagnostics, DiagnosticsOperations, OutputDebugStringA, kDoesNothing),
          OPERATION(diagnostics, DiagnosticsOperations, OutputDebugStringW, kDoesNothing),
          OPERATION(diagnostics, DiagnosticsOperations, InvalidParameter, kDoesNothing)};
}

AllOf<platform::FileOperations> Files() {
  return {OPERATION(files, FileOperations, CreateFileA, Returns(platform::kInvalidHandle)),
          OPERATION(files, FileOperations, CreateFileW, Returns(platform::kInvalidHandle)),
          OPERATION(files, FileOperations, ReadFile, kMovesNothing),
          OPERATION(files, FileOperations, WriteFile, kMovesNothing),
          OPERATION(files, FileOperations, SetFilePointer, Returns(kNoPosition)),
          OPERATION(files, FileOperations, DeleteFileA, Returns(false)),
          OPERATION(files, FileOperations, DeleteFileW, Returns(false)),
          OPERATION(files, FileOperations, SetFileAttributesW, Returns(false)),
          OPERATION(files, FileOperations, GetFileAttributesExW, Returns(false)),
          OPERATION(files, FileOperations, FindFirstFileA, Returns(platform::kInvalidHandle)),
          OPERATION(files, FileOperations, FindNextFileA, Returns(false)),
          OPERATION(files, FileOperations, FindClose, DoesAndReturns(false))};
}

AllOf<platform::FolderOperations> Folders() {
  return {OPERATION(folders, FolderOperations, GetTempPathA, Returns(0)),
          OPERATION(folders, FolderOperations, GetTempPathW, Returns(0)),
          OPERATION(folders, FolderOperations, GetWindowsDirectoryA, Returns(0)),
          OPERATION(folders, FolderOperations, GetSystemDirectoryA, Returns(0)),
          OPERATION(folders, FolderOperations, SHGetFolderPathA, Returns(kFailed))};
}

AllOf<platform::FormattingOperations> Formatting() {
  return {OPERATION(formatting, FormattingOperations, Format, Returns(-1)),
          OPERATION(formatting, FormattingOperations, CreateLocale, Returns(kNull)),
          OPERATION(formatting, FormattingOperations, FreeLocale, kCannotFail)};
}

AllOf<platform::HandleOperations> Handles() {
  return {OPERATION(handles, HandleOperations, CloseHandle, DoesAndReturns(false))};
}

AllOf<platform::MapiOperations> Mapi() {
  return {OPERATION(mapi, MapiOperations, MAPIAllocateBuffer, Returns(kNoMemory)),
          OPERATION(mapi, MapiOperations, HrSetOneProp, Returns(kFailed))};
}

AllOf<platform::MappingOperations> Mappings() {
  return {OPERATION(mappings, MappingOperations, OpenFileMappingA, Returns(kNull)),
          OPERATION(mappings, MappingOperations, CreateFileMappingA, Returns(kNull)),
          OPERATION(mappings, MappingOperations, MapViewOfFile, Returns(kNull)),
          OPERATION(mappings, MappingOperations, UnmapViewOfFile, DoesAndReturns(false))};
}

AllOf<platform::ModuleImageOperations> ModuleImage() {
  using platform::ModuleImageOperations;
  return {OPERATION(moduleImage, ModuleImageOperations, GetModuleFileNameW, Returns(0)),
          OPERATION(moduleImage, ModuleImageOperations, FindResourceBytes, Returns(false)),
          OPERATION(moduleImage, ModuleImageOperations, CreateLock, Returns(kNull)),
          OPERATION(moduleImage, ModuleImageOperations, EnterLock, kCannotFail),
          OPERATION(moduleImage, ModuleImageOperations, LeaveLock, kCannotFail),
          OPERATION(moduleImage, ModuleImageOperations, DeleteLock, kCannotFail),
          OPERATION(moduleImage, ModuleImageOperations, PinModule, Returns(false)),
          OPERATION(moduleImage, ModuleImageOperations, EncodePointer, kCannotFail),
          OPERATION(moduleImage, ModuleImageOperations, DecodePointer, kCannotFail)};
}

AllOf<platform::ProcessOperations> Process() {
  return {OPERATION(process, ProcessOperations, GetCurrentProcessId, Returns(0)),
          OPERATION(process, ProcessOperations, GetCurrentThreadId, Returns(0)),
          OPERATION(process, ProcessOperations, GetComputerNameW, Returns(false))};
}

AllOf<platform::RegistryOperations> Registry() {
  return {OPERATION(registry, RegistryOperations, CreateKey, Returns(kAccessDenied)),
          OPERATION(registry, RegistryOperations, OpenKey, Returns(kAccessDenied)),
          OPERATION(registry, RegistryOperations, CloseKey, kCannotFail),
          OPERATION(registry, RegistryOperations, DeleteTree, Returns(kAccessDenied)),
          OPERATION(registry, RegistryOperations, SetString, Returns(kAccessDenied)),
          OPERATION(registry, RegistryOperations, GetString, Returns(kAccessDenied))};
}

AllOf<platform::SecurityOperations> Security() {
  using platform::SecurityOperations;
  return {OPERATION(security, SecurityOperations,
                    ConvertStringSecurityDescriptorToSecurityDescriptorW, Returns(false)),
          OPERATION(security, SecurityOperations, SetSecurityDescriptorDacl, Returns(false)),
          OPERATION(security, SecurityOperations, LocalFree, kCannotFail)};
}

AllOf<platform::SocketOperations> Sockets() {
  return {OPERATION(sockets, SocketOperations, WSAStartup, Returns(kNoSockets)),
          OPERATION(sockets, SocketOperations, CreateSocket, Returns(platform::kInvalidSocket)),
          OPERATION(sockets, SocketOperations, ParseAddress, Returns(platform::kAddressNone)),
          OPERATION(sockets, SocketOperations, Connect, Returns(kSocketError)),
          OPERATION(sockets, SocketOperations, Send, Returns(kSocketError)),
          OPERATION(sockets, SocketOperations, CloseSocket, DoesAndReturns(kSocketError))};
}

AllOf<platform::UserInterfaceOperations> UserInterface() {
  using platform::UserInterfaceOperations;
  return {OPERATION(ui, UserInterfaceOperations, LoadCursorW, Returns(kNull)),
          OPERATION(ui, UserInterfaceOperations, SetCursor, Returns(kNull)),
          OPERATION(ui, UserInterfaceOperations, GetActiveWindow, Returns(kNull)),
          OPERATION(ui, UserInterfaceOperations, SetTimer, Returns(0)),
          OPERATION(ui, UserInterfaceOperations, KillTimer, Returns(false)),
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
