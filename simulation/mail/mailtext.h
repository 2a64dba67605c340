// Text as the host shows it.
#pragma once

#include <string>
#include <string_view>

namespace simulation::mail {

// `text` with a CR before each LF that has none.
inline std::string WithCrLf(std::string_view text) {
  std::string result;
  result.reserve(text.size() + text.size() / 32);
  char previous = '\0';
  for (const char c : text) {
    if (c == '\n' && previous != '\r') result += '\r';
    result += c;
    previous = c;
  }
  return result;
}

}  // namespace simulation::mail
