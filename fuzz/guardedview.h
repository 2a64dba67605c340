// Memory that nothing around may be touched: any access up to 4 GiB before or behind it ends the
// run, so that no 32-bit offset leads out of it unseen.
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

  // `size` bytes, at most kMost, at a multiple of 4. What was there before is still there for the
  // same size; otherwise the bytes are anything.
  unsigned char* Resize(std::size_t size) {
    Require(size <= kMost, "no larger view is asked for");
    unsigned char* const memory = m_reserved + kGuard;
    __asan_unpoison_memory_region(memory, kMost);
    // Its end stands at the guard, but for the bytes that the alignment takes.
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
