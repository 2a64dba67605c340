#include "platform/files.h"

#include <windows.h>

#include <cstring>

#include "platform/win32/securitydescriptor.h"

namespace platform {
namespace {

static_assert(kMaxPath == MAX_PATH && kFileEnd == FILE_END);
static_assert(kCreateAlways == CREATE_ALWAYS && kOpenExisting == OPEN_EXISTING &&
              kOpenAlways == OPEN_ALWAYS);

// Security attributes for a new file. Valid during the call only.
class Attributes {
 public:
  explicit Attributes(const SecurityDescriptor* security) {
    if (security == nullptr) return;
    m_attributes.lpSecurityDescriptor = security->InForce();
    m_given = &m_attributes;
  }
  SECURITY_ATTRIBUTES* Get() const { return m_given; }

 private:
  SECURITY_ATTRIBUTES m_attributes = {sizeof(SECURITY_ATTRIBUTES), nullptr, FALSE};
  SECURITY_ATTRIBUTES* m_given = nullptr;
};

Handle CreateFileA(const char* path, std::uint32_t access, std::uint32_t share,
                   const SecurityDescriptor* security, std::uint32_t disposition,
                   std::uint32_t attributes) {
  const Attributes given(security);
  return ::CreateFileA(path, access, share, given.Get(), disposition, attributes, nullptr);
}

Handle CreateFileW(const WideChar* path, std::uint32_t access, std::uint32_t share,
                   const SecurityDescriptor* security, std::uint32_t disposition,
                   std::uint32_t attributes) {
  const Attributes given(security);
  return ::CreateFileW(path, access, share, given.Get(), disposition, attributes, nullptr);
}

bool ReadFile(Handle file, void* buffer, std::uint32_t size, std::uint32_t* read) {
  DWORD count = 0;
  const bool done = ::ReadFile(file, buffer, size, &count, nullptr) != FALSE;
  *read = count;
  return done;
}

bool WriteFile(Handle file, const void* data, std::uint32_t size, std::uint32_t* written) {
  DWORD count = 0;
  const bool done = ::WriteFile(file, data, size, &count, nullptr) != FALSE;
  *written = count;
  return done;
}

std::uint32_t SetFilePointer(Handle file, std::int32_t distance, std::int32_t* distanceHigh,
                             std::uint32_t method) {
  LONG high = distanceHigh == nullptr ? 0 : *distanceHigh;
  SetLastError(NO_ERROR);
  const DWORD low =
      ::SetFilePointer(file, distance, distanceHigh == nullptr ? nullptr : &high, method);
  // All bits set can also be a valid low half.
  const bool failed = low == INVALID_SET_FILE_POINTER && GetLastError() != NO_ERROR;
  if (distanceHigh != nullptr) *distanceHigh = failed ? -1 : high;
  return low;
}

bool DeleteFileA(const char* path) {
  return ::DeleteFileA(path) != FALSE;
}

bool DeleteFileW(const WideChar* path) {
  return ::DeleteFileW(path) != FALSE;
}

bool SetFileAttributesW(const WideChar* path, std::uint32_t attributes) {
  return ::SetFileAttributesW(path, attributes) != FALSE;
}

bool GetFileAttributesExW(const WideChar* path, std::uint64_t* size) {
  WIN32_FILE_ATTRIBUTE_DATA data = {};
  if (!::GetFileAttributesExW(path, GetFileExInfoStandard, &data)) return false;
  *size = std::uint64_t{data.nFileSizeHigh} << 32 | data.nFileSizeLow;
  return true;
}

void CopyEntry(const WIN32_FIND_DATAA& found, FindData* entry) {
  static_assert(sizeof found.cFileName == sizeof entry->cFileName);
  entry->dwFileAttributes = found.dwFileAttributes;
  std::memcpy(entry->cFileName, found.cFileName, sizeof entry->cFileName);
}

Handle FindFirstFileA(const char* pattern, FindData* entry) {
  WIN32_FIND_DATAA found = {};
  const Handle listing = ::FindFirstFileA(pattern, &found);
  if (listing != kInvalidHandle) CopyEntry(found, entry);
  return listing;
}

bool FindNextFileA(Handle listing, FindData* entry) {
  WIN32_FIND_DATAA found = {};
  if (!::FindNextFileA(listing, &found)) return false;
  CopyEntry(found, entry);
  return true;
}

bool FindClose(Handle listing) {
  return listing != nullptr && listing != kInvalidHandle && ::FindClose(listing) != FALSE;
}

}  // namespace

constinit FileOperations files = {
    .CreateFileA = &CreateFileA,
    .CreateFileW = &CreateFileW,
    .ReadFile = &ReadFile,
    .WriteFile = &WriteFile,
    .SetFilePointer = &SetFilePointer,
    .DeleteFileA = &DeleteFileA,
    .DeleteFileW = &DeleteFileW,
    .SetFileAttributesW = &SetFileAttributesW,
    .GetFileAttributesExW = &GetFileAttributesExW,
    .FindFirstFileA = &FindFirstFileA,
    .FindNextFileA = &FindNextFileA,
    .FindClose = &FindClose,
};

}  // namespace platform
