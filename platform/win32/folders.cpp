#include "platform/folders.h"

#include <windows.h>

#include <shlobj.h>

namespace platform {
namespace {

static_assert(kFolderAppData == CSIDL_APPDATA);

std::uint32_t GetTempPathA(std::uint32_t size, char* buffer) {
  return ::GetTempPathA(size, buffer);
}

std::uint32_t GetTempPathW(std::uint32_t size, WideChar* buffer) {
  return ::GetTempPathW(size, buffer);
}

std::uint32_t GetWindowsDirectoryA(char* buffer, std::uint32_t size) {
  return ::GetWindowsDirectoryA(buffer, size);
}

std::uint32_t GetSystemDirectoryA(char* buffer, std::uint32_t size) {
  return ::GetSystemDirectoryA(buffer, size);
}

std::int32_t SHGetFolderPathA(int csidl, char* buffer) {
  return static_cast<std::int32_t>(
      ::SHGetFolderPathA(nullptr, csidl, nullptr, SHGFP_TYPE_CURRENT, buffer));
}

}  // namespace

constinit FolderOperations folders = {
    .GetTempPathA = &GetTempPathA,
    .GetTempPathW = &GetTempPathW,
    .GetWindowsDirectoryA = &GetWindowsDirectoryA,
    .GetSystemDirectoryA = &GetSystemDirectoryA,
    .SHGetFolderPathA = &SHGetFolderPathA,
};

}  // namespace platform
