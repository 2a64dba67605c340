#include "tools/fasttime.h"

#include <utility>

namespace tools {

FastTime::FastTime(std::function<bool()> turn)
    : m_turn(std::move(turn)),
      m_sleep([this](auto, std::uint32_t milliseconds) {
        bool hasMore = true;
        for (; hasMore && milliseconds > 0; --milliseconds) {
          ++m_slept;
          hasMore = m_turn();
        }
        m_slept += std::chrono::milliseconds(milliseconds);
      }),
      m_ticks([this](auto original) {
        return original() + static_cast<std::uint32_t>(m_slept.count());
      }) {}

}  // namespace tools
