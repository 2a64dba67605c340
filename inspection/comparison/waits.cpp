#include "inspection/comparison/waits.h"

namespace inspection::comparison {

Tenths Waits::Percentile(unsigned percent) const {
  const std::uint64_t rank = (m_count * percent + 99) / 100;
  std::uint64_t passed = 0;
  for (const auto& [time, count] : m_counts) {
    passed += count;
    if (passed >= rank) return time;
  }
  return 0;
}

}  // namespace inspection::comparison
