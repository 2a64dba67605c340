// The four folders that the host machine gives: Windows, system, application data, temporary.
//
// On a machine without them they are folders below one root, chosen by the environment variable
// QUORVEX_ROOT (otherwise a per-user state folder), made on first use: windows,
// windows/system32, appdata and temp.
#pragma once

#include <cstdint>

#include "platform/widetext.h"

namespace platform {

// CSIDL_APPDATA: the user's roaming application data.
inline constexpr int kFolderAppData = 26;

struct FolderOperations {
  // Each fills `buffer` with a NUL-terminated path and gives its length without the NUL. 0 on
  // failure; when the path doesn't fit, the length that is needed, with the buffer untouched.
  // The temporary path ends in a separator; the others don't.
  std::uint32_t (*GetTempPathA)(std::uint32_t size, char* buffer);
  std::uint32_t (*GetTempPathW)(std::uint32_t size, WideChar* buffer);
  std::uint32_t (*GetWindowsDirectoryA)(char* buffer, std::uint32_t size);
  std::uint32_t (*GetSystemDirectoryA)(char* buffer, std::uint32_t size);

  // Fills `buffer` (kMaxPath bytes) with the folder of `csidl`, without a final separator.
  // 0 on success, otherwise an error code with the buffer's contents unspecified.
  std::int32_t (*SHGetFolderPathA)(int csidl, char* buffer);
};

extern constinit FolderOperations folders;

}  // namespace platform
