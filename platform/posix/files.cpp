#include "platform/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <memory>
#include <string>

#include "platform/posix/listings.h"
#include "platform/posix/openobjects.h"
#include "platform/posix/paths.h"
#include "platform/posix/securitydescriptor.h"

namespace platform {
namespace {

using posix::Find;
using posix::Kind;
using posix::NativePath;

int OpenRetrying(const std::string& path, int flags) {
  int descriptor;
  do {
    descriptor = open(path.c_str(), flags, 0666);
  } while (descriptor < 0 && errno == EINTR);
  return descriptor;
}

int AccessFlags(std::uint32_t access) {
  constexpr std::uint32_t kGenericWrite = kGenericReadWrite & ~kGenericRead;
  if ((access & kGenericWrite) == 0) return O_RDONLY;
  return (access & kGenericRead) == 0 ? O_WRONLY : O_RDWR;
}

// The descriptor applies to files created here; existing ones keep their mode.
int OpenOpenToEverybody(const std::string& path, int flags) {
  const int made = OpenRetrying(path, flags | O_EXCL);
  if (made < 0) return errno == EEXIST ? OpenRetrying(path, flags) : made;
  fchmod(made, 0666);
  return made;
}

// POSIX has no share modes, and no attributes except the mode.
Handle CreateNative(const std::string& path, std::uint32_t access,
                    const SecurityDescriptor* security, std::uint32_t disposition) {
  int flags = AccessFlags(access) | O_CLOEXEC | O_NOCTTY;
  switch (disposition) {
    case kCreateAlways:
      flags |= O_CREAT | O_TRUNC;
      break;
    case kOpenAlways:
      flags |= O_CREAT;
      break;
    case kOpenExisting:
      break;
    default:
      return kInvalidHandle;
  }
  const bool forEverybody =
      (flags & O_CREAT) != 0 && security != nullptr && security->openToEverybody;
  const int descriptor =
      forEverybody ? OpenOpenToEverybody(path, flags) : OpenRetrying(path, flags);
  if (descriptor < 0) return kInvalidHandle;

  // open() accepts a directory for reading, but that is no file.
  struct stat status = {};
  if (fstat(descriptor, &status) != 0 || S_ISDIR(status.st_mode)) {
    close(descriptor);
    return kInvalidHandle;
  }
  return posix::Publish(std::make_unique<posix::OpenObject>(Kind::kFile, descriptor));
}

Handle CreateFileA(const char* path, std::uint32_t access, std::uint32_t /*share*/,
                   const SecurityDescriptor* security, std::uint32_t disposition,
                   std::uint32_t /*attributes*/) {
  return CreateNative(NativePath(path), access, security, disposition);
}

Handle CreateFileW(const WideChar* path, std::uint32_t access, std::uint32_t /*share*/,
                   const SecurityDescriptor* security, std::uint32_t disposition,
                   std::uint32_t /*attributes*/) {
  return CreateNative(NativePath(path), access, security, disposition);
}

bool ReadFile(Handle file, void* buffer, std::uint32_t size, std::uint32_t* read) {
  *read = 0;
  const posix::OpenObject* const object = Find(file, Kind::kFile);
  if (object == nullptr) return false;
  ssize_t count;
  do {
    count = ::read(object->descriptor, buffer, size);
  } while (count < 0 && errno == EINTR);
  if (count < 0) return false;
  *read = static_cast<std::uint32_t>(count);
  return true;
}

bool WriteFile(Handle file, const void* data, std::uint32_t size, std::uint32_t* written) {
  *written = 0;
  const posix::OpenObject* const object = Find(file, Kind::kFile);
  if (object == nullptr) return false;
  ssize_t count;
  do {
    count = write(object->descriptor, data, size);
  } while (count < 0 && errno == EINTR);
  if (count < 0) return false;
  *written = static_cast<std::uint32_t>(count);
  return true;
}

std::uint32_t SetFilePointer(Handle file, std::int32_t distance, std::int32_t* distanceHigh,
                             std::uint32_t method) {
  constexpr int kOrigins[] = {SEEK_SET, SEEK_CUR, SEEK_END};
  const posix::OpenObject* const object = Find(file, Kind::kFile);
  off64_t position = -1;
  if (object != nullptr && method <= kFileEnd) {
    // With a high half the low one is unsigned; otherwise it has the sign.
    const std::int64_t whole =
        distanceHigh == nullptr
            ? distance
            : static_cast<std::int64_t>(
                  static_cast<std::uint64_t>(static_cast<std::uint32_t>(*distanceHigh)) << 32 |
                  static_cast<std::uint32_t>(distance));
    position = lseek64(object->descriptor, whole, kOrigins[method]);
  }
  if (distanceHigh != nullptr) *distanceHigh = static_cast<std::int32_t>(position >> 32);
  return static_cast<std::uint32_t>(position);
}

bool DeleteFileA(const char* path) {
  return unlink(NativePath(path).c_str()) == 0;
}

bool DeleteFileW(const WideChar* path) {
  return unlink(NativePath(path).c_str()) == 0;
}

// A mode can only express "read-only".
bool SetFileAttributesW(const WideChar* path, std::uint32_t attributes) {
  constexpr std::uint32_t kReadOnly = 1;
  const std::string native = NativePath(path);
  struct stat status = {};
  if (stat(native.c_str(), &status) != 0) return false;
  const mode_t mode = (status.st_mode & 07777);
  const mode_t wanted = (attributes & kReadOnly) != 0 ? mode & ~mode_t{0222} : mode | S_IWUSR;
  return mode == wanted || chmod(native.c_str(), wanted) == 0;
}

bool GetFileAttributesExW(const WideChar* path, std::uint64_t* size) {
  struct stat status = {};
  if (stat(NativePath(path).c_str(), &status) != 0) return false;
  *size = S_ISREG(status.st_mode) ? static_cast<std::uint64_t>(status.st_size) : 0;
  return true;
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
    .FindFirstFileA = &posix::FindFirst,
    .FindNextFileA = &posix::FindNext,
    .FindClose = &posix::EndListing,
};

}  // namespace platform
