#include "tools/timeargument.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>

#include "tools/command.h"
#include "tools/text.h"

namespace tools {

std::string TimeArgument(const std::string& text, const char* option) {
  constexpr std::string_view kForm = "0000-00-00T00:00:00";
  const bool isComplete = text.size() == 10 || text.size() == 16 || text.size() == 19;
  bool isTime = isComplete;
  for (std::size_t i = 0; isTime && i < text.size(); ++i) {
    isTime = kForm[i] == '0' ? text[i] >= '0' && text[i] <= '9'
                             : text[i] == kForm[i] || (i == 10 && text[i] == ' ');
  }
  if (!isTime) {
    throw CommandError(fmt::format("{}: \"{}\" is no time like 2026-11-21 or 2026-11-21T14:30",
                                   option, Printable(text)));
  }
  return text.substr(0, 4) + text.substr(5, 2) + text.substr(8, 2) +
         text.substr(std::min<std::size_t>(text.size(), 11));
}

}  // namespace tools
