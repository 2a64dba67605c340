#include "simulation/host/hostcalls.h"

#include <algorithm>
#include <stdexcept>

namespace simulation::host {
namespace {

std::uint16_t IndexOf(std::string_view name) {
  const auto* const found = std::find(std::begin(kHostCallNames), std::end(kHostCallNames), name);
  if (found == std::end(kHostCallNames)) {
    throw std::invalid_argument("the host has no call named " + std::string(name));
  }
  return static_cast<std::uint16_t>(found - std::begin(kHostCallNames));
}

template <typename Map, typename Key>
std::optional<HRESULT> Lookup(const Map& faults, const Key& key) {
  const auto found = faults.find(key);
  if (found == faults.end()) return std::nullopt;
  return found->second;
}

}  // namespace

void HostCalls::Restart() {
  m_total = 0;
  m_faultsGiven = 0;
  m_counts = {};
  m_journal.clear();
}

std::uint64_t HostCalls::Count(std::string_view name) const {
  return m_counts[IndexOf(name)];
}

std::vector<std::pair<std::string_view, std::uint64_t>> HostCalls::Counts() const {
  std::vector<std::pair<std::string_view, std::uint64_t>> counts;
  for (std::size_t index = 0; index < kHostCallCount; ++index) {
    if (m_counts[index] != 0) counts.emplace_back(kHostCallNames[index], m_counts[index]);
  }
  return counts;
}

std::vector<std::string_view> HostCalls::Journal() const {
  std::vector<std::string_view> names;
  names.reserve(m_journal.size());
  for (const std::uint16_t index : m_journal) names.push_back(kHostCallNames[index]);
  return names;
}

void HostCalls::FailCall(std::uint64_t number, HRESULT result) {
  m_byNumber[number] = result;
  m_armed = true;
}

void HostCalls::FailEach(std::string_view name, HRESULT result) {
  m_byName[IndexOf(name)] = result;
  m_armed = true;
}

void HostCalls::FailCallOf(std::string_view name, std::uint64_t nth, HRESULT result) {
  m_byNameAndNumber[{IndexOf(name), nth}] = result;
  m_armed = true;
}

void HostCalls::ClearFaults() {
  m_byNumber.clear();
  m_byName.clear();
  m_byNameAndNumber.clear();
  m_armed = false;
}

// The most particular fault goes first.
std::optional<HRESULT> HostCalls::FindFault(std::uint16_t index) {
  std::optional<HRESULT> fault = Lookup(m_byNumber, m_total);
  if (!fault) fault = Lookup(m_byNameAndNumber, std::pair{index, m_counts[index]});
  if (!fault) fault = Lookup(m_byName, index);
  if (fault) ++m_faultsGiven;
  return fault;
}

}  // namespace simulation::host
