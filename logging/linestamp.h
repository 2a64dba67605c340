// The beginning of a log line: who and when.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "platform/clock.h"

namespace logging {

// Builds "(%05d) %02u/%02u/%04u %02u:%02u:%02u.%03u ": the thread's id, then the local time with
// the month before the day. Within a second only the milliseconds change, so the text is kept, and
// these alone are written anew when they did change. By hand, since the runtime's formatting takes
// longer than the rest of a line together. Used by one thread at a time; nothing allocates.
class LineStamp {
 public:
  // The calling thread and the present. Valid until the next call.
  std::string_view Now();

 private:
  void Build(std::int32_t thread, const platform::LocalTime& time);
  void PutMilliseconds(std::uint16_t value);

  platform::LocalTime m_time = {};  // that m_text has
  std::int32_t m_thread = 0;
  // The longest: a thread of 11 characters, seven numbers of 5, and what stands between.
  char m_text[64] = {};
  std::size_t m_upToMilliseconds = 0;  // 0 before the first
  std::size_t m_length = 0;
};

}  // namespace logging
