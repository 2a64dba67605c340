#include "platform/posix/listings.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <cstring>
#include <memory>
#include <string>
#include <utility>

#include "platform/posix/openobjects.h"
#include "platform/posix/paths.h"

namespace platform::posix {
namespace {

struct Listing : OpenObject {
  Listing(DIR* openFolder, std::string namePattern)
      : OpenObject(Kind::kListing, -1), folder(openFolder), pattern(std::move(namePattern)) {}
  ~Listing() override { closedir(folder); }

  DIR* const folder;
  const std::string pattern;
};

// The last byte of a UTF-8 character, so that "?" matches a whole one.
const char* CharacterEnd(const char* at) {
  ++at;
  while ((*at & 0xC0) == 0x80) ++at;
  return at;
}

// Backtracks to the last "*" only; trying earlier ones can't help.
bool Matches(const char* pattern, const char* name) {
  const char* afterStar = nullptr;
  const char* retry = nullptr;
  while (*name != '\0') {
    if (*pattern == '*') {
      afterStar = ++pattern;
      retry = name;
    } else if (*pattern == '?') {
      ++pattern;
      name = CharacterEnd(name);
    } else if (*pattern == *name) {
      ++pattern;
      ++name;
    } else if (afterStar != nullptr) {
      pattern = afterStar;
      name = ++retry;
    } else {
      return false;
    }
  }
  while (*pattern == '*') ++pattern;
  return *pattern == '\0';
}

bool NextMatch(const Listing& listing, FindData* entry) {
  while (const dirent64* const found = readdir64(listing.folder)) {
    const std::size_t length = std::strlen(found->d_name);
    if (length >= kMaxPath || !Matches(listing.pattern.c_str(), found->d_name)) continue;
    struct stat64 status = {};
    // An entry that has been deleted since, or a dangling link, is no folder.
    const bool isFolder =
        fstatat64(dirfd(listing.folder), found->d_name, &status, 0) == 0 && S_ISDIR(status.st_mode);
    entry->dwFileAttributes = isFolder ? kFileAttributeDirectory : kFileAttributeNormal;
    std::memcpy(entry->cFileName, found->d_name, length + 1);
    return true;
  }
  return false;
}

}  // namespace

Handle FindFirst(const char* pattern, FindData* entry) {
  const std::string native = NativePath(pattern);
  const std::size_t slash = native.rfind('/');
  const bool bare = slash == std::string::npos;
  const std::string folder = bare ? "." : native.substr(0, slash + 1);
  std::string names = bare ? native : native.substr(slash + 1);
  // On Windows "*.*" means "*".
  if (names == "*.*") names = "*";

  DIR* const opened = names.empty() ? nullptr : opendir(folder.c_str());
  if (opened == nullptr) return kInvalidHandle;
  auto listing = std::make_unique<Listing>(opened, std::move(names));
  if (!NextMatch(*listing, entry)) return kInvalidHandle;
  return Publish(std::move(listing));
}

bool FindNext(Handle listing, FindData* entry) {
  const OpenObject* const object = Find(listing, Kind::kListing);
  return object != nullptr && NextMatch(static_cast<const Listing&>(*object), entry);
}

bool EndListing(Handle listing) {
  return Withdraw(listing, true) != nullptr;
}

}  // namespace platform::posix
