#include "inspection/logs/logdatagram.h"

#include "logging/runtimetext.h"

namespace inspection::logs {

namespace {

struct Level {
  std::string_view name;
  int gravity;
};

// The logger writes All for a level with every bit set and None for one without a known bit.
constexpr Level kLevels[] = {{"Info", 1}, {"Warn", 2}, {"Err", 3},
                             {"Crit", 4}, {"All", 4},  {"None", 0}};

}  // namespace

std::optional<LogLine> ParseLogDatagram(std::string_view bytes) {
  std::optional<LogLine> line = ParseLogLine(bytes);
  if (line && (line->module.empty() || !GravityOf(line->level))) line.reset();
  return line;
}

std::optional<int> GravityOf(std::string_view level) {
  for (const Level& known : kLevels) {
    if (logging::EqualsIgnoringCase(known.name, level)) return known.gravity;
  }
  return std::nullopt;
}

std::string Escaped(std::string_view bytes) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string text;
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '\\') {
      text += "\\\\";
    } else if (byte >= 0x20 && byte < 0x7F) {
      text += c;
    } else {
      text += "\\x";
      text += kDigits[byte / 16U];
      text += kDigits[byte % 16U];
    }
  }
  return text;
}

}  // namespace inspection::logs
