#include "platform/mappings.h"

#include <windows.h>

#include "platform/win32/securitydescriptor.h"

namespace platform {
namespace {

static_assert(kMapReadWrite == (FILE_MAP_READ | FILE_MAP_WRITE) && kMapRead == FILE_MAP_READ);

Handle OpenFileMappingA(std::uint32_t access, bool inheritHandle, const char* name) {
  return ::OpenFileMappingA(access, inheritHandle ? TRUE : FALSE, name);
}

Handle CreateFileMappingA(std::uint32_t size, const char* name) {
  SECURITY_DESCRIPTOR everybody = {};
  if (!MakeOpenToEverybody(&everybody)) return nullptr;
  SECURITY_ATTRIBUTES attributes = {sizeof attributes, &everybody, FALSE};
  const HANDLE mapping =
      ::CreateFileMappingA(INVALID_HANDLE_VALUE, &attributes, PAGE_READWRITE, 0, size, name);
  // CreateFileMapping opens an existing mapping, whatever its size.
  if (mapping != nullptr && GetLastError() == ERROR_ALREADY_EXISTS) {
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
