#include "tests/soak/processfigures.h"

#include <malloc.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>

// Defined under a sanitizer only, whose allocator replaces malloc.
extern "C" std::size_t __sanitizer_get_current_allocated_bytes() __attribute__((weak));

namespace soak {

ProcessFigures FiguresOfThisProcess() {
  ProcessFigures figures;
  unsigned long pages = 0;
  if (std::FILE* const file = std::fopen("/proc/self/statm", "r")) {
    if (std::fscanf(file, "%*u %lu", &pages) != 1) pages = 0;
    std::fclose(file);
  }
  figures.residentBytes = std::uint64_t{pages} * static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
  if (__sanitizer_get_current_allocated_bytes != nullptr) {
    figures.heapBytes = __sanitizer_get_current_allocated_bytes();
  } else {
    // malloc leaves a remainder that is too small for a block with the preceding block.
    figures.heapBytes = mallinfo2().uordblks;
    figures.heapRounding = 16;
  }
  for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    ++figures.handles;
  }
  return figures;
}

}  // namespace soak
