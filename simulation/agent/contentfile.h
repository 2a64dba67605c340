// Reading a file that a request points to.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace simulation::agent {

struct ContentFile {
  std::uint64_t bytes = 0;  // the file's size, as it was read
  std::string sha256;       // of all its bytes, 64 lower-case hexadecimal digits
  std::string head;         // its bytes up to the limit that was asked for
};

// Reads the file at `path` through platform::files, so "\" is a separator on every system. The path
// is tried as UTF-8 and then as text in the system's ANSI code page: the add-in sends either.
// Absent when it can't be opened, or when reading fails before the end. Any size; only `headLimit`
// bytes are kept in memory.
std::optional<ContentFile> ReadContentFile(const std::string& path, std::uint64_t headLimit);

}  // namespace simulation::agent
