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
  figures.handles = handles;
  return figures;
}

}  // namespace soak
