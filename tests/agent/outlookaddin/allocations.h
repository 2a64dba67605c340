// Replaces operator new and delete for the whole test program, so that a test can make allocations
// fail, and can count what is allocated and not yet freed.
//
// Allocations count, and may fail, only in code that a test has marked with AllocationsCount. Marks
// nest: AllocationsDontCount inside of it protects code that isn't under test. For one thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "simulation/host/hostcalls.h"

namespace tests {

struct AllocationFigures {
  std::uint64_t number = 0;    // allocations so far
  std::uint64_t failed = 0;    // of these
  std::size_t liveBlocks = 0;  // counted blocks that aren't freed, wherever they are freed
  std::size_t liveBytes = 0;   // their size
  std::size_t mostBytes = 0;   // the peak of liveBytes
};

// Starts the counting anew. The allocation of that number, from 1, fails; 0 means none.
void RestartAllocations(std::uint64_t failing);
AllocationFigures Allocations();

// Switches the mark. Returns what it was before.
bool SetAllocationsCount(bool count);

class AllocationsCount {
 public:
  explicit AllocationsCount(bool count = true) : m_before(SetAllocationsCount(count)) {}
  ~AllocationsCount() { SetAllocationsCount(m_before); }
  AllocationsCount(const AllocationsCount&) = delete;
  AllocationsCount& operator=(const AllocationsCount&) = delete;

 private:
  bool m_before;
};

struct AllocationsDontCount : AllocationsCount {
  AllocationsDontCount() : AllocationsCount(false) {}
};

// Inside the host's calls allocations don't count, and inside its calls of the add-in they do. It
// replaces the four functions of `calls` and must not be destroyed during a call.
class OnlyAddInCounts {
 public:
  explicit OnlyAddInCounts(simulation::host::HostCalls& calls);
  ~OnlyAddInCounts();
  OnlyAddInCounts(const OnlyAddInCounts&) = delete;
  OnlyAddInCounts& operator=(const OnlyAddInCounts&) = delete;

 private:
  void Enter(bool count);
  void Leave();

  simulation::host::HostCalls& m_calls;
  std::vector<bool> m_before;  // calls nest, so each remembers what was before it
};

}  // namespace tests
