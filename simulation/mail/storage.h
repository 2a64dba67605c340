// Compound files ("structured storage"), the format of Outlook's .msg: a tree of storages (folders)
// and streams (files) inside one file.
#pragma once

#include <map>
#include <stdexcept>
#include <string>
#include <string_view>

namespace simulation::mail {

// A storage and everything in it.
struct Storage {
  std::map<std::string, std::string> streams;
  std::map<std::string, Storage> storages;
};

// True if `bytes` begin with a compound file's signature.
inline bool LooksLikeCompoundFile(std::string_view bytes) {
  return bytes.starts_with("\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1");
}

// True if the directory of a compound file begins with its root, an entry without neighbours, as
// the format requires ([MS-CFB], 2.2 and 2.6). False also for any other bytes.
bool HasRoot(std::string_view bytes);

// The deepest storage that is read; the root is at depth 0. Each embedded message adds two.
inline constexpr int kDeepestStorage = 64;

// Reads a compound file through the system's library: libgsf on POSIX, ole32 on Windows. Raises
// MailError if the file is damaged or HasRoot() is false, or if its streams add up to more than its
// own size, which a valid file's can't. Leaves out what is deeper than kDeepestStorage.
Storage ReadCompoundFile(std::string_view bytes);

// Returns a compound file with the contents of `root`. Raises MailError if the library fails.
std::string WriteCompoundFile(const Storage& root);

}  // namespace simulation::mail
