#include "platform/moduleimage.h"

#include <algorithm>
#include <filesystem>
#include <mutex>
#include <new>
#include <random>
#include <string>
#include <system_error>

namespace platform {
namespace {

// The only image is the program's own.
std::uint32_t ModuleFileNameW(ModuleInstance, WideChar* buffer, std::uint32_t size) {
  std::error_code error;
  const std::filesystem::path path = std::filesystem::read_symlink("/proc/self/exe", error);
  if (error || size == 0) return 0;
  const std::u16string text = path.u16string();
  const std::size_t length = std::min<std::size_t>(text.size(), size - 1);
  text.copy(buffer, length);
  buffer[length] = u'\0';
  return text.size() < size ? static_cast<std::uint32_t>(length) : size;
}

bool FindResourceBytes(ModuleInstance, const WideChar*, std::uint16_t, const char** bytes,
                       std::size_t* size) {
  *bytes = nullptr;
  *size = 0;
  return false;
}

ModuleLock CreateLock() {
  return new (std::nothrow) std::recursive_mutex;
}

void EnterLock(ModuleLock lock) {
  static_cast<std::recursive_mutex*>(lock)->lock();
}

void LeaveLock(ModuleLock lock) {
  static_cast<std::recursive_mutex*>(lock)->unlock();
}

void DeleteLock(ModuleLock lock) {
  delete static_cast<std::recursive_mutex*>(lock);
}

// The program's image is never unloaded.
bool PinModule(const void*) {
  return true;
}

void* Mask(void* pointer) {
  static const auto mask = [] {
    std::random_device device;
    return static_cast<std::uintptr_t>(std::uniform_int_distribution<std::uint64_t>()(device));
  }();
  return reinterpret_cast<void*>(reinterpret_cast<std::uintptr_t>(pointer) ^ mask);
}

}  // namespace

constinit ModuleImageOperations moduleImage = {
    ModuleFileNameW, FindResourceBytes, CreateLock, EnterLock, LeaveLock,
    DeleteLock,      PinModule,         Mask,       Mask};

}  // namespace platform
