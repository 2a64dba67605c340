#include "logging/linestamp.h"

#include "platform/process.h"
#include "text/texthelpers.h"

namespace logging {

const char* LineStamp::Now() {
  platform::LocalTime now{};
  platform::clock.GetLocalTime(&now);
  const auto thread = static_cast<std::int32_t>(platform::process.GetCurrentThreadId());
  if (m_text[0] == '\0' || thread != m_thread || now != m_time) {
    m_time = now;
    m_thread = thread;
    FormatToBuffer(m_text, sizeof m_text, "(%05d) %02u/%02u/%04u %02u:%02u:%02u.%03u ", thread,
                   now.month, now.day, now.year, now.hour, now.minute, now.second, now.millisecond);
  }
  return m_text;
}

}  // namespace logging
