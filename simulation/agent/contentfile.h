// Reading a file whose path came in a request.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace simulation::agent {

struct ContentFile {
  std::uint64_t bytes = 0;  // the file's size
  std::string sha256;       // of all bytes, 64 lower-case hexadecimal digits
  std::string head;         // its first bytes, up to the caller's limit
};

// Reads the file at `path` through platform::files, so "\" is a separator on every system. Tries
// the path as UTF-8 first, then in the system's ANSI code page, since the add-in sends both. Absent
// if the file can't be opened or read to its end. The file may have any size: only `headLimit`
// bytes are kept in memory.
std::optional<ContentFile> ReadContentFile(const std::string& path, std::uint64_t headLimit);

}  // namespace simulation::agent
