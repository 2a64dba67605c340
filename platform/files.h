// Files and the listing of folders.
//
// Narrow paths are in the system's ANSI code page, wide ones UTF-16. Where the file system's own
// separator is "/", a "\" in a path given here counts as one too.
#pragma once

#include <cstdint>

#include "platform/handles.h"
#include "platform/security.h"
#include "platform/widetext.h"

namespace platform {

inline constexpr std::uint32_t kGenericRead = 0x80000000;
inline constexpr std::uint32_t kGenericReadWrite = 0xC0000000;
inline constexpr std::uint32_t kShareReadWrite = 3;
// Creation: create or truncate; open what exists; open or create.
inline constexpr std::uint32_t kCreateAlways = 2;
inline constexpr std::uint32_t kOpenExisting = 3;
inline constexpr std::uint32_t kOpenAlways = 4;

inline constexpr std::uint32_t kFileAttributeDirectory = 0x10;
inline constexpr std::uint32_t kFileAttributeNormal = 0x80;

// SetFilePointer's way of counting from the end of the file, and its failure.
inline constexpr std::uint32_t kFileEnd = 2;

// The length of every buffer for a narrow path, its NUL included.
inline constexpr std::uint32_t kMaxPath = 260;

// One entry of a listing.
struct FindData {
  std::uint32_t dwFileAttributes;
  char cFileName[kMaxPath];  // the name alone, without its folder
};

struct FileOperations {
  // kInvalidHandle on failure. `security` may be null, which means the system's default.
  Handle (*CreateFileA)(const char* path, std::uint32_t access, std::uint32_t share,
                        const SecurityDescriptor* security, std::uint32_t disposition,
                        std::uint32_t attributes);
  Handle (*CreateFileW)(const WideChar* path, std::uint32_t access, std::uint32_t share,
                        const SecurityDescriptor* security, std::uint32_t disposition,
                        std::uint32_t attributes);

  // Reads up to `size` bytes. False on failure; true with `*read` 0 at the end of the file.
  bool (*ReadFile)(Handle file, void* buffer, std::uint32_t size, std::uint32_t* read);

  // Writes in one call. False on failure; `*written` may fall short of `size` even on success.
  bool (*WriteFile)(Handle file, const void* data, std::uint32_t size, std::uint32_t* written);

  // Moves the file pointer by `distance` counted as `method` says and gives the low half of the
  // new position, the high half through `*distanceHigh`, which on entry is the high half of the
  // distance. On failure gives 0xFFFFFFFF and sets `*distanceHigh` to all ones.
  std::uint32_t (*SetFilePointer)(Handle file, std::int32_t distance, std::int32_t* distanceHigh,
                                  std::uint32_t method);

  bool (*DeleteFileA)(const char* path);
  bool (*DeleteFileW)(const WideChar* path);

  // False when the attributes can't be set. kFileAttributeNormal makes a read-only file writable.
  bool (*SetFileAttributesW)(const WideChar* path, std::uint32_t attributes);

  // The size in bytes of the file at `path`. False when it can't be read, for whatever reason.
  bool (*GetFileAttributesExW)(const WideChar* path, std::uint64_t* size);

  // Opens the listing of a pattern with "*" in its last component and gives its first entry.
  // "." and ".." are entries. kInvalidHandle when nothing matches; `*entry` is then untouched.
  // The order is the file system's. The match doesn't look at case where the file system doesn't.
  Handle (*FindFirstFileA)(const char* pattern, FindData* entry);
  // False when there is no further entry, and for kInvalidHandle.
  bool (*FindNextFileA)(Handle listing, FindData* entry);
  // False for kInvalidHandle. CloseHandle doesn't end a listing.
  bool (*FindClose)(Handle listing);
};

extern constinit FileOperations files;

}  // namespace platform
