// Named mappings are files, preferably in /dev/shm, and a shared flock on such a file is what keeps
// its name alive.
//
// The name has to exist exactly as long as some process holds a handle, and processes end without
// a word. So every handle has an open file description of its own with LOCK_SH on it, which the
// kernel drops with the last descriptor, however the process ends. A file that nobody locks is what
// a dead process left behind: it counts as absent and is removed by whoever comes across it.
//
// The rules that make this hold between processes:
//  1. A file gets its name (linkat) only when its maker already has LOCK_SH on it and its size is
//     set. So a named file without a lock is never one that is still being made.
//  2. A name is removed only by a process that has LOCK_EX on the very file that the name leads to,
//     checked after the lock was had (RemoveName). While it has the lock, nobody else can remove
//     that name, so the file between the check and the removal stays the same one, and a newer
//     file of that name is never removed by mistake.
//  3. Whoever has LOCK_EX removes the name before letting go. So an opener that finds LOCK_EX on
//     the file may treat it as absent already.
//  4. An opener that got LOCK_SH looks again whether the name still leads to its file: it may have
//     been removed between open and flock (StillNamed).
//  5. Closing tries to turn LOCK_SH into LOCK_EX. The kernel drops the one before it asks for the
//     other, so of several that close at a time the last to ask gets it. If a prober has LOCK_EX
//     in that moment, the prober removes the name (3).
//
// A process that ended without closing leaves its file's memory until somebody asks for that name.
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

// Tries that may go by while other processes remove what is in the way.
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

// The caller has LOCK_EX on the descriptor's file.
void RemoveName(int descriptor, const std::string& path) {
  if (StillNamed(descriptor, path)) unlink(path.c_str());
}

struct Mapping : posix::OpenObject {
  Mapping(int openDescriptor, std::string filePath)
      : OpenObject(Kind::kMapping, openDescriptor), path(std::move(filePath)), owner(getpid()) {}
  ~Mapping() override {
    // A forked child shares the lock with its parent, and must leave it as it is.
    if (getpid() == owner && Lock(descriptor, LOCK_EX)) RemoveName(descriptor, path);
  }

  const std::string path;
  const pid_t owner;
};

// Views by their start, each with its length, which the kernel wants back.
struct Views {
  std::mutex mutex;
  std::map<const void*, std::size_t> lengths;
};

Views& AllViews() {
  static Views* const views = new Views;  // never destroyed: views may outlive this file's end
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

// Each root is a machine of its own, with its own names.
std::uint64_t HashOf(std::string_view text) {
  std::uint64_t hash = 0xCBF29CE484222325;  // FNV-1a
  for (const char byte : text) {
    hash = (hash ^ static_cast<unsigned char>(byte)) * 0x100000001B3;
  }
  return hash;
}

// The path of the file behind a name. Empty when the name is none.
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

// Opens the file at `path` if somebody holds it, with LOCK_SH taken on `*descriptor`. Removes it
// if nobody does.
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

// A file without a name, locked and of full size. -1 on failure.
int MakeUnnamed(const std::string& folder, std::uint32_t size) {
  const int made = open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0666);
  if (made < 0) return -1;
  // The memory itself is taken now: a page that can't be had later would end the process.
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
      // Closed as any handle is: the holder may have gone in between.
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

  // Beyond the last page lies nothing, and touching it would end the process.
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
