#include "tests/soak/processfigures.h"

// clang-format off
#include <windows.h>
#include <psapi.h>
// clang-format on

namespace soak {

ProcessFigures FiguresOfThisProcess() {
  ProcessFigures figures;
  PROCESS_MEMORY_COUNTERS counters = {};
  if (GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof(counters)) != FALSE) {
    figures.residentBytes = counters.WorkingSetSize;
  }
  HeapLock(GetProcessHeap());
  PROCESS_HEAP_ENTRY entry = {};
  while (HeapWalk(GetProcessHeap(), &entry) != FALSE) {
    if ((entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0) figures.heapBytes += entry.cbData;
  }
  HeapUnlock(GetProcessHeap());
  DWORD handles = 0;
  GetProcessHandleCount(GetCurrentProcess(), &handles);
  if (handles == 0) {
    // Wine doesn't count them. It gives the lowest free place of its table to the next one.
    const HANDLE next = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    handles = static_cast<DWORD>(reinterpret_cast<std::uintptr_t>(next) / 4 - 1);
    CloseHandle(next);
  }
  figures.handles = handles;
  return figures;
}

}  // namespace soak
