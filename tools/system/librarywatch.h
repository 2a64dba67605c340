// Watching what a loaded library asks of the system. Windows only.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace tools::system {

// What happens at the library's calls. Narrow text is in the ANSI code page, except `debugText`,
// which is UTF-8.
struct LibraryWatch {
  std::function<std::string(const std::string& name)> renamed;  // the mapping to open instead
  std::function<void(const std::string& name, void* mapping)> opened;
  std::function<void(void* mapping, const void* view, std::uint32_t size)> mapped;
  std::function<void(const void* view)> unmapping;
  std::function<void(std::string text)> debugText;
  std::function<void(std::uint32_t milliseconds)> sleep;
  std::function<std::uint32_t()> tickCount;
  std::string systemDirectory;  // instead of the system's own
  std::string temporaryFolder;  // instead of the system's own, with a final backslash
};

// Redirects the imports of the library that holds `code`. One library at a time; call it again with
// another watch to replace the first. All functions must be set.
void WatchLibrary(const void* code, LibraryWatch watch);

}  // namespace tools::system
