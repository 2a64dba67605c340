// Memory with guard pages: any access up to 4 GiB before or after it ends the run, so no 32-bit
// offset can leave it unnoticed.
#pragma once

#include <sanitizer/asan_interface.h>
#include <sys/mman.h>

#include <cstddef>
#include <cstdint>

#include "fuzz/fuzzing.h"

namespace fuzzing {

class GuardedView {
 public:
  static constexpr std::size_t kMost = 8192;

  GuardedView() {
    m_reserved =
        static_cast<unsigned char*>(mmap(nullptr, 2 * kGuard + kMost, PROT_NONE,
                                         MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0));
    Require(m_reserved != MAP_FAILED &&
                mprotect(m_reserved + kGuard, kMost, PROT_READ | PROT_WRITE) == 0,
            "there is address space");
  }
  ~GuardedView() { munmap(m_reserved, 2 * kGuard + kMost); }
  GuardedView(const GuardedView&) = delete;
  GuardedView& operator=(const GuardedView&) = delete;

  // Returns `size` bytes, at most kMost, aligned to 4. Keeps the contents if the size doesn't
  // change; otherwise they are unspecified.
  unsigned char* Resize(std::size_t size) {
    Require(size <= kMost, "no larger view is asked for");
    unsigned char* const memory = m_reserved + kGuard;
    __asan_unpoison_memory_region(memory, kMost);
    // The view ends at the guard, except for the bytes that alignment needs.
    unsigned char* const view = memory + kMost - (size + 3) / 4 * 4;
    __asan_poison_memory_region(memory, static_cast<std::size_t>(view - memory));
    __asan_poison_memory_region(view + size, (4 - size % 4) % 4);
    return view;
  }

 private:
  static constexpr std::size_t kGuard = std::size_t{1} << 32;

  unsigned char* m_reserved;
};

}  // namespace fuzzing
