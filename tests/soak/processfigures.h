// The resources that this process uses.
#pragma once

#include <cstdint>

namespace soak {

struct ProcessFigures {
  std::uint64_t residentBytes = 0;  // memory in use, as the system counts it
  std::uint64_t heapBytes = 0;      // allocated and not freed; 0: unknown
  std::uint64_t heapRounding = 0;   // how much the allocator may count in addition to each block
  std::uint64_t handles = 0;        // open descriptors, or handles on Windows
};

ProcessFigures FiguresOfThisProcess();

}  // namespace soak
