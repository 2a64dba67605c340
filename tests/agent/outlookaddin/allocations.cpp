#include "tests/agent/outlookaddin/allocations.h"

#include <algorithm>
#include <cstdlib>
#include <new>
#include <utility>

namespace tests {
namespace {

// In front of each block. Its size keeps the block aligned as malloc aligns.
struct alignas(std::max_align_t) BlockHeader {
  std::size_t size;
  std::uint64_t run;  // the run that counts the block; 0: none does
};

thread_local bool s_counts = false;
std::uint64_t s_run = 1;
std::uint64_t s_failing = 0;
AllocationFigures s_figures;

void* Allocate(std::size_t size) noexcept {
  if (s_counts) {
    ++s_figures.number;
    if (s_figures.number == s_failing) {
      ++s_figures.failed;
      return nullptr;
    }
  }
  auto* const header = static_cast<BlockHeader*>(std::malloc(sizeof(BlockHeader) + size));
  if (header == nullptr) return nullptr;
  *header = {size, s_counts ? s_run : 0};
  if (s_counts) {
    ++s_figures.liveBlocks;
    s_figures.liveBytes += size;
    s_figures.mostBytes = std::max(s_figures.mostBytes, s_figures.liveBytes);
  }
  return header + 1;
}

void Free(void* block) noexcept {
  if (block == nullptr) return;
  auto* const header = static_cast<BlockHeader*>(block) - 1;
  if (header->run == s_run) {
    --s_figures.liveBlocks;
    s_figures.liveBytes -= header->size;
  }
  std::free(header);
}

}  // namespace

void RestartAllocations(std::uint64_t failing) {
  ++s_run;
  s_failing = failing;
  s_figures = {};
}

AllocationFigures Allocations() {
  return s_figures;
}

bool SetAllocationsCount(bool count) {
  return std::exchange(s_counts, count);
}

OnlyAddInCounts::OnlyAddInCounts(simulation::host::HostCalls& calls) : m_calls(calls) {
  m_calls.onEnter = [this](std::string_view) { Enter(false); };
  m_calls.onLeave = [this] { Leave(); };
  m_calls.onCallAddIn = [this] { Enter(true); };
  m_calls.onAddInReturned = [this] { Leave(); };
}

OnlyAddInCounts::~OnlyAddInCounts() {
  m_calls.onEnter = nullptr;
  m_calls.onLeave = nullptr;
  m_calls.onCallAddIn = nullptr;
  m_calls.onAddInReturned = nullptr;
}

void OnlyAddInCounts::Enter(bool count) {
  const bool before = SetAllocationsCount(false);
  m_before.push_back(before);
  SetAllocationsCount(count);
}

void OnlyAddInCounts::Leave() {
  SetAllocationsCount(m_before.back());
  m_before.pop_back();
}

}  // namespace tests

void* operator new(std::size_t size) {
  if (void* const block = tests::Allocate(size)) return block;
  throw std::bad_alloc();
}
void* operator new[](std::size_t size) {
  return ::operator new(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return tests::Allocate(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return tests::Allocate(size);
}
void operator delete(void* block) noexcept {
  tests::Free(block);
}
void operator delete[](void* block) noexcept {
  tests::Free(block);
}
void operator delete(void* block, std::size_t) noexcept {
  tests::Free(block);
}
void operator delete[](void* block, std::size_t) noexcept {
  tests::Free(block);
}
void operator delete(void* block, const std::nothrow_t&) noexcept {
  tests::Free(block);
}
void operator delete[](void* block, const std::nothrow_t&) noexcept {
  tests::Free(block);
}
