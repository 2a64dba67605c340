// A distribution of times, exact to a tenth of a millisecond.
#pragma once

#include <cstdint>
#include <map>

#include "inspection/comparison/recordedmail.h"

namespace inspection::comparison {

// Takes memory for each different time only.
class Waits {
 public:
  void Add(Tenths time) {
    ++m_counts[time];
    ++m_count;
  }

  std::uint64_t Count() const { return m_count; }
  // The smallest time that at least `percent` % of all times don't exceed; 0 without any. 1 to 100.
  Tenths Percentile(unsigned percent) const;
  // Each time with how often it came, ascending.
  const std::map<Tenths, std::uint64_t>& Counts() const { return m_counts; }

 private:
  std::map<Tenths, std::uint64_t> m_counts;
  std::uint64_t m_count = 0;
};

}  // namespace inspection::comparison
