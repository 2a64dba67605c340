#include "platform/moduleimage.h"

#include <windows.h>

#include <new>

namespace platform {
namespace {

std::uint32_t ModuleFileNameW(ModuleInstance module, WideChar* buffer, std::uint32_t size) {
  return GetModuleFileNameW(static_cast<HMODULE>(module), buffer, size);
}

bool FindResourceBytes(ModuleInstance module, const WideChar* type, std::uint16_t identifier,
                       const char** bytes, std::size_t* size) {
  const auto image = static_cast<HMODULE>(module);
  const HRSRC found = FindResourceW(image, MAKEINTRESOURCEW(identifier), type);
  if (found == nullptr) return false;
  const HGLOBAL loaded = LoadResource(image, found);
  if (loaded == nullptr) return false;
  *bytes = static_cast<const char*>(LockResource(loaded));
  *size = SizeofResource(image, found);
  return *bytes != nullptr;
}

ModuleLock CreateLock() {
  auto* const section = new (std::nothrow) CRITICAL_SECTION;
  if (section != nullptr && !InitializeCriticalSectionAndSpinCount(section, 0)) {
    delete section;
    return nullptr;
  }
  return section;
}

void EnterLock(ModuleLock lock) {
  EnterCriticalSection(static_cast<CRITICAL_SECTION*>(lock));
}

void LeaveLock(ModuleLock lock) {
  LeaveCriticalSection(static_cast<CRITICAL_SECTION*>(lock));
}

void DeleteLock(ModuleLock lock) {
  auto* const section = static_cast<CRITICAL_SECTION*>(lock);
  DeleteCriticalSection(section);
  delete section;
}

bool PinModule(const void* address) {
  HMODULE module = nullptr;
  return GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                            static_cast<const wchar_t*>(address), &module) != 0;
}

void* Encode(void* pointer) {
  return EncodePointer(pointer);
}

void* Decode(void* pointer) {
  return DecodePointer(pointer);
}

}  // namespace

constinit ModuleImageOperations moduleImage = {
    ModuleFileNameW, FindResourceBytes, CreateLock, EnterLock, LeaveLock,
    DeleteLock,      PinModule,         Encode,     Decode};

}  // namespace platform
