#include "logging/linestamp.h"

#include "platform/process.h"

namespace logging {
namespace {

// Puts a number of at least `width` digits, and a character behind it.
char* PutNumber(char* at, std::uint32_t value, int width, char behind) {
  int length = 1;
  for (std::uint32_t rest = value / 10; rest != 0; rest /= 10) ++length;
  if (length < width) length = width;
  for (int digit = length; digit-- > 0; value /= 10)
    at[digit] = static_cast<char>('0' + value % 10);
  at[length] = behind;
  return at + length + 1;
}

bool AreInTheSameSecond(const platform::LocalTime& one, const platform::LocalTime& other) {
  return one.second == other.second && one.minute == other.minute && one.hour == other.hour &&
         one.day == other.day && one.month == other.month && one.year == other.year;
}

}  // namespace

std::string_view LineStamp::Now() {
  platform::LocalTime now{};
  platform::clock.GetLocalTime(&now);
  const auto thread = static_cast<std::int32_t>(platform::process.GetCurrentThreadId());
  const bool isKept =
      m_upToMilliseconds != 0 && thread == m_thread && AreInTheSameSecond(now, m_time);
  if (!isKept) Build(thread, now);
  if (!isKept || now.millisecond != m_time.millisecond) PutMilliseconds(now.millisecond);
  return {m_text, m_length};
}

void LineStamp::Build(std::int32_t thread, const platform::LocalTime& time) {
  const auto bits = static_cast<std::uint32_t>(thread);
  char* at = m_text;
  *at++ = '(';
  if (thread < 0) *at++ = '-';
  at = thread < 0 ? PutNumber(at, 0 - bits, 4, ')') : PutNumber(at, bits, 5, ')');
  *at++ = ' ';
  at = PutNumber(at, time.month, 2, '/');
  at = PutNumber(at, time.day, 2, '/');
  at = PutNumber(at, time.year, 4, ' ');
  at = PutNumber(at, time.hour, 2, ':');
  at = PutNumber(at, time.minute, 2, ':');
  at = PutNumber(at, time.second, 2, '.');
  m_upToMilliseconds = static_cast<std::size_t>(at - m_text);
  m_thread = thread;
  m_time = time;
}

void LineStamp::PutMilliseconds(std::uint16_t value) {
  m_time.millisecond = value;
  char* const end = PutNumber(m_text + m_upToMilliseconds, value, 3, ' ');
  m_length = static_cast<std::size_t>(end - m_text);
}

}  // namespace logging
