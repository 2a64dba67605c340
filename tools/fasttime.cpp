#include "tools/fasttime.h"

#include <utility>

namespace tools {

FastTime::FastTime(std::function<void()> turn)
    : m_turn(std::move(turn)),
      m_sleep([this](auto, std::uint32_t milliseconds) {
        for (std::uint32_t i = 0; i < milliseconds; ++i) {
          ++m_slept;
          m_turn();
        }
      }),
      m_ticks([this](auto original) {
        return original() + static_cast<std::uint32_t>(m_slept.count());
      }) {}

}  // namespace tools
