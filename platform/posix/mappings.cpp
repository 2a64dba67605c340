// Named mappings are files, preferably in /dev/shm. A shared flock on the file keeps its name
// alive.
//
// A name must exist exactly as long as some process holds a handle, and processes may end without
// notice. So every handle has its own open file description with LOCK_SH, which the kernel drops
// with the last descriptor, however the process ends. A file without a lock is a dead process's: it
// counts as absent, and the next process to find it removes it.
//
// Rules that make this work between processes:
//  1. A file gets its name (linkat) only after its creator has LOCK_SH on it and has set its size.
//     So a named file without a lock is never one under construction.
//  2. A process removes a name only while it has LOCK_EX on the file that the name refers to,
//     checked after taking the lock (RemoveName). No other process can remove the name meanwhile,
//     so the check stays valid and a newer file of that name is never removed by mistake.
//  3. A process with LOCK_EX removes the name before it unlocks. So an opener that meets LOCK_EX
//     may treat the file as absent.
//  4. An opener with LOCK_SH checks that the name still refers to its file: it may have been
//     removed between open and flock (StillNamed).
//  5. Closing tries to turn LOCK_SH into LOCK_EX. The kernel drops the first before it requests the
//     second, so of several simultaneous closers the last gets it. If a prober has LOCK_EX at that
//     moment, the prober removes the name (3).
//
// The memory of a process that ended without closing stays allocated until the name is used again.
#include "platform/mappings.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "platform/posix/openobjects.h"
#include "platform/posix/paths.h"

namespace platform {
namespace {

using posix::Find;
using posix::Kind;

// Attempts while other processes remove stale names.
constexpr int kTries = 1000;

bool Lock(int descriptor, int operation) {
  int result;
  do {
    result = flock(descriptor, operation | LOCK_NB);
  } while (result != 0 && errno == EINTR);
  return result == 0;
}

bool StillNamed(int descriptor, const std::string& path) {
  struct stat file = {};
  struct stat named = {};
  return fstat(descriptor, &file) == 0 && lstat(path.c_str(), &named) == 0 &&
         file.st_dev == named.st_dev && file.st_ino == named.st_ino;
}

// Requires LOCK_EX on the descriptor's file.
void RemoveName(int descriptor, const std::string& path) {
  if (StillNamed(descriptor, path)) unlink(path.c_str());
}

struct Mapping : posix::OpenObject {
  Mapping(int openDescriptor, std::string filePath)
      : OpenObject(Kind::kMapping, openDescriptor), path(std::move(filePath)), owner(getpid()) {}
  ~Mapping() override {
    // A forked child shares the lock with its parent and must not change it.
    if (getpid() == owner && Lock(descriptor, LOCK_EX)) RemoveName(descriptor, path);
  }

  const std::string path;
  const pid_t owner;
};

// Start and length of each view; munmap needs the length.
struct Views {
  std::mutex mutex;
  std::map<const void*, std::size_t> lengths;
};

Views& AllViews() {
  static Views* const views =
      new Views;  // never destroyed: views may be closed after this file's statics
  return *views;
}

std::string SharedFolder() {
  constexpr const char* kSharedMemory = "/dev/shm";
  if (access(kSharedMemory, W_OK | X_OK) == 0) return kSharedMemory;
  const std::string root = posix::RootFolder();
  if (root.empty()) return {};
  std::error_code error;
  std::filesystem::create_directories(root + "/mappings", error);
  return root + "/mappings";
}

// Each root is a separate machine with its own names.
std::uint64_t HashOf(std::string_view text) {
  std::uint64_t hash = 0xCBF29CE484222325;  // FNV-1a
  for (const char byte : text) {
    hash = (hash ^ static_cast<unsigned char>(byte)) * 0x100000001B3;
  }
  return hash;
}

// The file path for a name, or empty if the name is invalid.
std::string PathOf(const char* name) {
  const std::string folder = SharedFolder();
  if (name == nullptr || *name == '\0' || folder.empty()) return {};
  char prefix[32];
  std::snprintf(prefix, sizeof prefix, "/quorvex-%016llx-",
                static_cast<unsigned long long>(HashOf(posix::RootFolder())));
  std::string path = folder + prefix;
  for (const char* at = name; *at != '\0'; ++at) {
    const auto byte = static_cast<unsigned char>(*at);
    const bool plain = (byte >= '0' && byte <= '9') || (byte >= 'A' && byte <= 'Z') ||
                       (byte >= 'a' && byte <= 'z') || byte == '_' || byte == '-';
    char escaped[4];
    std::snprintf(escaped, sizeof escaped, plain ? "%c" : "%%%02X", byte);
    path += escaped;
  }
  return path;
}

enum class Presence { kHeld, kAbsent, kRetry, kFailed };

// Opens the file at `path` with LOCK_SH if another handle exists; otherwise removes it.
Presence OpenHeld(const std::string& path, int accessFlags, int* descriptor) {
  const int opened = open(path.c_str(), accessFlags | O_CLOEXEC | O_NOFOLLOW);
  if (opened < 0) {
    if (errno == EINTR) return Presence::kRetry;
    return errno == ENOENT ? Presence::kAbsent : Presence::kFailed;
  }
  Presence presence = Presence::kRetry;
  if (Lock(opened, LOCK_EX)) {
    RemoveName(opened, path);
    presence = Presence::kAbsent;
  } else if (Lock(opened, LOCK_SH) && StillNamed(opened, path)) {
    *descriptor = opened;
    return Presence::kHeld;
  }
  close(opened);
  return presence;
}

Handle PublishMapping(int descriptor, const std::string& path) {
  return posix::Publish(std::make_unique<Mapping>(descriptor, path));
}

Handle OpenFileMappingA(std::uint32_t access, bool /*inheritHandle*/, const char* name) {
  const std::string path = PathOf(name);
  if (path.empty()) return nullptr;
  const bool writes = (access & kMapReadWrite & ~kMapRead) != 0;
  for (int tries = 0; tries < kTries; ++tries) {
    int descriptor = -1;
    const Presence presence = OpenHeld(path, writes ? O_RDWR : O_RDONLY, &descriptor);
    if (presence == Presence::kHeld) return PublishMapping(descriptor, path);
    if (presence != Presence::kRetry) return nullptr;
    sched_yield();
  }
  return nullptr;
}

// Creates a file without a name, locked and of full size. Returns -1 on failure.
int MakeUnnamed(const std::string& folder, std::uint32_t size) {
  const int made = open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0666);
  if (made < 0) return -1;
  // Allocate the memory now: a page fault that can't be served later would end the process.
  if (fchmod(made, 0666) == 0 && Lock(made, LOCK_SH) && posix_fallocate(made, 0, size) == 0) {
    return made;
  }
  close(made);
  return -1;
}

bool GiveName(int descriptor, const std::string& path) {
  const std::string self = "/proc/self/fd/" + std::to_string(descriptor);
  return linkat(AT_FDCWD, self.c_str(), AT_FDCWD, path.c_str(), AT_SYMLINK_FOLLOW) == 0;
}

Handle CreateFileMappingA(std::uint32_t size, const char* name) {
  const std::string path = PathOf(name);
  if (path.empty() || size == 0) return nullptr;
  const int made = MakeUnnamed(path.substr(0, path.rfind('/')), size);
  if (made < 0) return nullptr;
  for (int tries = 0; tries < kTries; ++tries) {
    if (GiveName(made, path)) return PublishMapping(made, path);
    if (errno != EEXIST) break;
    int held = -1;
    const Presence presence = OpenHeld(path, O_RDONLY, &held);
    if (presence == Presence::kHeld) {
      // Close like any handle: the other holder may be gone by now.
      const Mapping closedAtOnce(held, path);
      break;
    }
    if (presence == Presence::kFailed) break;
    sched_yield();
  }
  close(made);
  return nullptr;
}

void* MapViewOfFile(Handle mapping, std::uint32_t access, std::uint32_t offsetHigh,
                    std::uint32_t offsetLow, std::uint32_t size) {
  constexpr std::uint64_t kGranularity = 65536;
  const posix::OpenObject* const object = Find(mapping, Kind::kMapping);
  struct stat status = {};
  if (object == nullptr || fstat(object->descriptor, &status) != 0) return nullptr;

  // Access after the last page would end the process.
  const auto page = static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
  const std::uint64_t whole = (static_cast<std::uint64_t>(status.st_size) + page - 1) / page * page;
  const std::uint64_t offset = std::uint64_t{offsetHigh} << 32 | offsetLow;
  if (offset % kGranularity != 0 || offset >= whole) return nullptr;
  const std::uint64_t length = size == 0 ? whole - offset : size;
  if (length > whole - offset || length > SIZE_MAX) return nullptr;

  const bool writes = (access & kMapReadWrite & ~kMapRead) != 0;
  void* const view =
      mmap64(nullptr, static_cast<std::size_t>(length), writes ? PROT_READ | PROT_WRITE : PROT_READ,
             MAP_SHARED, object->descriptor, static_cast<off64_t>(offset));
  if (view == MAP_FAILED) return nullptr;
  Views& views = AllViews();
  const std::lock_guard lock(views.mutex);
  views.lengths[view] = static_cast<std::size_t>(length);
  return view;
}

bool UnmapViewOfFile(const void* view) {
  Views& views = AllViews();
  const std::lock_guard lock(views.mutex);
  const auto found = views.lengths.find(view);
  if (found == views.lengths.end()) return false;
  const std::size_t length = found->second;
  views.lengths.erase(found);
  return munmap(const_cast<void*>(view), length) == 0;
}

}  // namespace

constinit MappingOperations mappings = {
    .OpenFileMappingA = &OpenFileMappingA,
    .CreateFileMappingA = &CreateFileMappingA,
    .MapViewOfFile = &MapViewOfFile,
    .UnmapViewOfFile = &UnmapViewOfFile,
};

}  // namespace platform
