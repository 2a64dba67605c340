// The Windows, system, application-data and temporary folders.
//
// On POSIX they are folders below one root: windows, windows/system32, appdata and temp, created on
// first use. The environment variable QUORVEX_ROOT names the root; the default is a per-user state
// folder.
#pragma once

#include <cstdint>

#include "platform/widetext.h"

namespace platform {

// CSIDL_APPDATA: the user's roaming application data.
inline constexpr int kFolderAppData = 26;

struct FolderOperations {
  // Each writes a NUL-terminated path and returns its length without the NUL. Returns 0 on failure.
  // If the path doesn't fit, returns the required size and leaves the buffer unchanged. Only the
  // temporary path ends with a separator.
  std::uint32_t (*GetTempPathA)(std::uint32_t size, char* buffer);
  std::uint32_t (*GetTempPathW)(std::uint32_t size, WideChar* buffer);
  std::uint32_t (*GetWindowsDirectoryA)(char* buffer, std::uint32_t size);
  std::uint32_t (*GetSystemDirectoryA)(char* buffer, std::uint32_t size);

  // Writes the folder `csidl` without a final separator into `buffer` (kMaxPath bytes). Returns 0
  // on success; otherwise an error code, with the buffer unspecified.
  std::int32_t (*SHGetFolderPathA)(int csidl, char* buffer);
};

extern constinit FolderOperations folders;

}  // namespace platform
