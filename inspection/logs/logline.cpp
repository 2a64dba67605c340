#include "inspection/logs/logline.h"

#include <algorithm>

namespace inspection::logs {

namespace {

// In the logger's own form; 0 stands for any digit.
constexpr std::string_view kTimeForm = "00/00/0000 00:00:00.000";

bool IsDigit(char character) {
  return character >= '0' && character <= '9';
}

bool HasTimeForm(std::string_view text) {
  return text.size() == kTimeForm.size() &&
         std::equal(text.begin(), text.end(), kTimeForm.begin(), [](char have, char form) {
           return form == '0' ? IsDigit(have) : have == form;
         });
}

}  // namespace

std::optional<LogLine> ParseLogLine(std::string_view text) {
  while (text.ends_with('\n') || text.ends_with('\r')) text.remove_suffix(1);
  if (!text.starts_with('(')) return std::nullopt;
  const std::size_t bracket = text.find(") ");
  if (bracket == std::string_view::npos || bracket < 2) return std::nullopt;
  LogLine line;
  line.thread = text.substr(1, bracket - 1);
  if (!std::all_of(line.thread.begin(), line.thread.end(), IsDigit)) return std::nullopt;
  text.remove_prefix(bracket + 2);
  line.time = text.substr(0, kTimeForm.size());
  if (!HasTimeForm(line.time)) return std::nullopt;
  text.remove_prefix(kTimeForm.size());
  const std::size_t angle = text.find("> ");
  const std::size_t colon = text.find(": ", angle);
  if (!text.starts_with(' ') || angle == std::string_view::npos ||
      colon == std::string_view::npos || colon != angle + 6) {
    return std::nullopt;
  }
  line.module = text.substr(1, angle - 1);
  line.level = text.substr(angle + 2, 4);
  while (line.level.ends_with(' ')) line.level.remove_suffix(1);
  line.message = text.substr(colon + 2);
  return line;
}

std::string SortableTime(const LogLine& line) {
  return std::string(line.time.substr(6, 4)) + std::string(line.time.substr(0, 2)) +
         std::string(line.time.substr(3, 2)) + std::string(line.time.substr(11));
}

}  // namespace inspection::logs
