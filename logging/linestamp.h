// The start of a log line: thread and time.
#pragma once

#include <cstdint>

#include "platform/clock.h"

namespace logging {

// Formats "(%05d) %02u/%02u/%04u %02u:%02u:%02u.%03u ": the thread's id, then the local time, month
// before day. Keeps the text while neither changes: lines come in bursts, and the clock moves only
// every few milliseconds. For one thread at a time; allocates nothing.
class LineStamp {
 public:
  // For the calling thread and the current time. Valid until the next call.
  const char* Now();

 private:
  platform::LocalTime m_time = {};  // m_text is for this time and thread
  std::int32_t m_thread = 0;
  // Enough for a thread id of 11 characters and seven 16-bit numbers; empty before the first call.
  char m_text[64] = {};
};

}  // namespace logging
