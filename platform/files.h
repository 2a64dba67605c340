// Files and directory listings.
//
// Narrow paths use the ANSI code page, wide ones UTF-16. On POSIX a "\" in a path is a separator
// like "/".
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

// SetFilePointer: count from the end of the file.
inline constexpr std::uint32_t kFileEnd = 2;

// The size of every buffer for a narrow path, including the NUL.
inline constexpr std::uint32_t kMaxPath = 260;

// An entry of a directory listing.
struct FindData {
  std::uint32_t dwFileAttributes;
  char cFileName[kMaxPath];  // without the folder
};

struct FileOperations {
  // Returns kInvalidHandle on failure. A null `security` means the system default.
  Handle (*CreateFileA)(const char* path, std::uint32_t access, std::uint32_t share,
                        const SecurityDescriptor* security, std::uint32_t disposition,
                        std::uint32_t attributes);
  Handle (*CreateFileW)(const WideChar* path, std::uint32_t access, std::uint32_t share,
                        const SecurityDescriptor* security, std::uint32_t disposition,
                        std::uint32_t attributes);

  // Reads up to `size` bytes. Returns false on failure, and true with `*read` 0 at the end of the
  // file.
  bool (*ReadFile)(Handle file, void* buffer, std::uint32_t size, std::uint32_t* read);

  // Makes one write. Returns false on failure; `*written` may be less than `size` even on success.
  bool (*WriteFile)(Handle file, const void* data, std::uint32_t size, std::uint32_t* written);

  // Moves the file pointer by `distance`, counted as `method` says. `*distanceHigh` is the high
  // half of the distance. Returns the low half of the new position and sets `*distanceHigh` to the
  // high half. On failure returns 0xFFFFFFFF and sets `*distanceHigh` to -1.
  std::uint32_t (*SetFilePointer)(Handle file, std::int32_t distance, std::int32_t* distanceHigh,
                                  std::uint32_t method);

  bool (*DeleteFileA)(const char* path);
  bool (*DeleteFileW)(const WideChar* path);

  // Returns false on failure. kFileAttributeNormal makes a read-only file writable.
  bool (*SetFileAttributesW)(const WideChar* path, std::uint32_t attributes);

  // The size in bytes of the file at `path`. Returns false if it can't be determined.
  bool (*GetFileAttributesExW)(const WideChar* path, std::uint64_t* size);

  // Starts a listing of the entries that match `pattern`, which has a "*" in its last component,
  // and returns the first. "." and ".." are entries. If nothing matches, returns kInvalidHandle and
  // leaves `*entry` unchanged. Order and case sensitivity are those of the file system.
  Handle (*FindFirstFileA)(const char* pattern, FindData* entry);
  // Returns false at the end of the listing, and for kInvalidHandle.
  bool (*FindNextFileA)(Handle listing, FindData* entry);
  // Ends a listing; CloseHandle doesn't. Returns false for kInvalidHandle.
  bool (*FindClose)(Handle listing);
};

extern constinit FileOperations files;

}  // namespace platform
