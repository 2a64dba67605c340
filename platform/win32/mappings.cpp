#include "platform/mappings.h"

#include <windows.h>

#include <sddl.h>

namespace platform {
namespace {

static_assert(kMapReadWrite == (FILE_MAP_READ | FILE_MAP_WRITE) && kMapRead == FILE_MAP_READ);

Handle OpenFileMappingA(std::uint32_t access, bool inheritHandle, const char* name) {
  return ::OpenFileMappingA(access, inheritHandle ? TRUE : FALSE, name);
}

// Interactive users, the system and administrators may map it for reading and writing (6), and so
// may its owner (S-1-3-4). The entry for the owner replaces the owner's usual right to change this
// list.
constexpr char kMappingAccess[] = "D:P(A;;0x6;;;IU)(A;;0x6;;;SY)(A;;0x6;;;BA)(A;;0x6;;;S-1-3-4)";

Handle CreateFileMappingA(std::uint32_t size, const char* name) {
  PSECURITY_DESCRIPTOR access = nullptr;
  if (!ConvertStringSecurityDescriptorToSecurityDescriptorA(kMappingAccess, SDDL_REVISION_1,
                                                            &access, nullptr)) {
    return nullptr;
  }
  SECURITY_ATTRIBUTES attributes = {sizeof attributes, access, FALSE};
  const HANDLE mapping =
      ::CreateFileMappingA(INVALID_HANDLE_VALUE, &attributes, PAGE_READWRITE, 0, size, name);
  const bool existed = GetLastError() == ERROR_ALREADY_EXISTS;
  LocalFree(access);
  // CreateFileMapping opens an existing mapping, whatever its size.
  if (mapping != nullptr && existed) {
    ::CloseHandle(mapping);
    return nullptr;
  }
  return mapping;
}

void* MapViewOfFile(Handle mapping, std::uint32_t access, std::uint32_t offsetHigh,
                    std::uint32_t offsetLow, std::uint32_t size) {
  return ::MapViewOfFile(mapping, access, offsetHigh, offsetLow, size);
}

bool UnmapViewOfFile(const void* view) {
  return ::UnmapViewOfFile(view) != FALSE;
}

}  // namespace

constinit MappingOperations mappings = {
    .OpenFileMappingA = &OpenFileMappingA,
    .CreateFileMappingA = &CreateFileMappingA,
    .MapViewOfFile = &MapViewOfFile,
    .UnmapViewOfFile = &UnmapViewOfFile,
};

}  // namespace platform
