#include "tests/soak/processfigures.h"

// clang-format off
#include <windows.h>
#include <psapi.h>
// clang-format on

#include <atomic>
#include <cstdlib>
#include <new>

// Under Wine the system's heap walk misses blocks, so this counts what the program, including the
// add-in, allocates with operator new.
namespace {

constexpr std::size_t kHead = 16;
std::atomic<std::uint64_t> g_live{0};

}  // namespace

void* operator new(std::size_t size) {
  auto* const block = static_cast<unsigned char*>(std::malloc(size + kHead));
  if (block == nullptr) throw std::bad_alloc();
  *reinterpret_cast<std::size_t*>(block) = size;
  g_live += size;
  return block + kHead;
}

void operator delete(void* memory) noexcept {
  if (memory == nullptr) return;
  unsigned char* const block = static_cast<unsigned char*>(memory) - kHead;
  g_live -= *reinterpret_cast<std::size_t*>(block);
  std::free(block);
}

void operator delete(void* memory, std::size_t) noexcept {
  operator delete(memory);
}

namespace soak {

ProcessFigures FiguresOfThisProcess() {
  ProcessFigures figures;
  PROCESS_MEMORY_COUNTERS counters = {};
  if (GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof(counters)) != FALSE) {
    figures.residentBytes = counters.WorkingSetSize;
  }
  figures.heapBytes = g_live;
  DWORD handles = 0;
  GetProcessHandleCount(GetCurrentProcess(), &handles);
  if (handles == 0) {
    // Wine doesn't count handles. A new one gets the lowest free index of its table.
    const HANDLE next = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    handles = static_cast<DWORD>(reinterpret_cast<std::uintptr_t>(next) / 4 - 1);
    CloseHandle(next);
  }
  figures.handles = handles;
  return figures;
}

}  // namespace soak
