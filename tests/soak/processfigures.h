// What this process holds of the machine.
#pragma once

#include <cstdint>

namespace soak {

struct ProcessFigures {
  std::uint64_t residentBytes = 0;  // memory in use, as the system counts it
  std::uint64_t heapBytes = 0;      // given by the allocator and not given back; 0: not known
  std::uint64_t heapRounding = 0;   // what the allocator may count beyond each block that it gave
  std::uint64_t handles = 0;        // open descriptors, or handles on Windows
};

ProcessFigures FiguresOfThisProcess();

}  // namespace soak
