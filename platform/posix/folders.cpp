#include "platform/folders.h"

#include <cstring>
#include <filesystem>
#include <string>
#include <system_error>

#include "platform/files.h"
#include "platform/posix/paths.h"

namespace platform {
namespace {

// A folder below the root, created if necessary. Empty on failure.
std::string FolderBelowRoot(const char* name) {
  const std::string root = posix::RootFolder();
  if (root.empty()) return {};
  const std::string folder = root + "/" + name;
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  return std::filesystem::is_directory(folder, error) ? folder : std::string();
}

template <typename Char>
std::uint32_t Give(const std::basic_string<Char>& path, Char* buffer, std::uint32_t size) {
  if (path.empty()) return 0;
  const auto length = static_cast<std::uint32_t>(path.size());
  if (buffer == nullptr || length >= size) return length + 1;
  std::memcpy(buffer, path.c_str(), (path.size() + 1) * sizeof(Char));
  return length;
}

std::string TempFolder() {
  std::string folder = FolderBelowRoot("temp");
  if (!folder.empty()) folder += '/';
  return folder;
}

std::uint32_t GetTempPathA(std::uint32_t size, char* buffer) {
  return Give(TempFolder(), buffer, size);
}

std::uint32_t GetTempPathW(std::uint32_t size, WideChar* buffer) {
  return Give(posix::WideFromUtf8(TempFolder()), buffer, size);
}

std::uint32_t GetWindowsDirectoryA(char* buffer, std::uint32_t size) {
  return Give(FolderBelowRoot("windows"), buffer, size);
}

std::uint32_t GetSystemDirectoryA(char* buffer, std::uint32_t size) {
  return Give(FolderBelowRoot("windows/system32"), buffer, size);
}

std::int32_t SHGetFolderPathA(int csidl, char* buffer) {
  constexpr auto kInvalidArgument = static_cast<std::int32_t>(0x80070057);
  constexpr auto kFailed = static_cast<std::int32_t>(0x80004005);
  if (csidl != kFolderAppData || buffer == nullptr) return kInvalidArgument;
  const std::uint32_t length = Give(FolderBelowRoot("appdata"), buffer, kMaxPath);
  return length == 0 || length >= kMaxPath ? kFailed : 0;
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
