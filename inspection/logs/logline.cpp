#include "inspection/logs/logline.h"

#include <algorithm>
#include <array>

namespace inspection::logs {

namespace {

// The logger's forms; 0 means any digit.
constexpr std::string_view kTimeForm = "00/00/0000 00:00:00.000";
constexpr std::string_view kTimeOfDayForm = "00:00:00.000";

bool IsDigit(char character) {
  return character >= '0' && character <= '9';
}

bool HasForm(std::string_view text, std::string_view form) {
  return text.size() == form.size() &&
         std::equal(text.begin(), text.end(), form.begin(), [](char have, char wanted) {
           return wanted == '0' ? IsDigit(have) : have == wanted;
         });
}

// Without the line end, and without what a syslog server makes of it.
std::string_view WithoutEnd(std::string_view text) {
  for (;;) {
    if (text.ends_with('\n') || text.ends_with('\r') || text.ends_with(' ')) {
      text.remove_suffix(1);
    } else if (text.ends_with("#015") || text.ends_with("#012")) {
      text.remove_suffix(4);
    } else {
      return text;
    }
  }
}

// The machine in a syslog header, or an empty view for text that is no such header.
std::string_view MachineInHeader(std::string_view header) {
  std::array<std::string_view, 8> words;
  std::size_t count = 0;
  while (!header.empty() && count < words.size()) {
    const std::size_t end = std::min(header.find(' '), header.size());
    if (end > 0) words[count++] = header.substr(0, end);
    header.remove_prefix(std::min(end + 1, header.size()));
  }
  if (count == 0) return {};
  std::string_view first = words[0];
  const bool hasPriority = first.starts_with('<');
  if (hasPriority) first.remove_prefix(std::min(first.find('>') + 1, first.size()));
  if (hasPriority && first == "1") return words[2];  // RFC 5424
  constexpr std::string_view kMonths = "JanFebMarAprMayJunJulAugSepOctNovDec";
  const bool isMonth = first.size() == 3 && kMonths.find(first) != std::string_view::npos;
  if (isMonth && HasForm(words[2], "00:00:00")) return words[3];
  if (first.size() >= 19 && HasForm(first.substr(0, 10), "0000-00-00")) return words[1];
  const bool isName =
      count == 1 && !hasPriority && std::all_of(first.begin(), first.end(), [](char c) {
        return IsDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '.' ||
               c == '-' || c == ':' || c == '_';
      });
  return isName ? first : std::string_view();
}

// A line with a syslog header.
std::optional<SourceLine> ParseWithHeader(std::string_view text) {
  constexpr std::size_t kLongestHeader = 256;
  for (std::size_t at = text.find(" ("); at < kLongestHeader;  // also false for npos
       at = text.find(" (", at + 1)) {
    const std::optional<LogLine> line = ParseLogLine(text.substr(at + 1));
    if (!line) continue;
    const std::string_view machine = MachineInHeader(text.substr(0, at));
    if (machine.empty()) return std::nullopt;
    return SourceLine{*line, machine};
  }
  return std::nullopt;
}

// "01:47:41.928 10.0.0.5:40212        Warn Outlook: message"
std::optional<SourceLine> ParseListenText(std::string_view text) {
  SourceLine result;
  LogLine& line = result.line;
  line.time = text.substr(0, kTimeOfDayForm.size());
  if (!HasForm(line.time, kTimeOfDayForm)) return std::nullopt;
  text.remove_prefix(std::min(kTimeOfDayForm.size() + 1, text.size()));
  const std::string_view sender = text.substr(0, text.find(' '));
  const std::size_t colon = sender.rfind(':');
  if (colon == std::string_view::npos) return std::nullopt;
  result.machine = sender.substr(0, colon);
  line.thread = sender.substr(colon + 1);
  text.remove_prefix(sender.size());
  text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
  line.level = text.substr(0, text.find(' '));
  text.remove_prefix(line.level.size());
  text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
  const std::size_t end = text.find(": ");
  if (end == std::string_view::npos || line.level.size() > 4) return std::nullopt;
  line.module = text.substr(0, end);
  line.message = text.substr(end + 2);
  return result;
}

// Appends the JSON string that follows "key": in `text` to `buffer`, and returns where it is there.
std::optional<std::pair<std::size_t, std::size_t>> AppendField(std::string_view text,
                                                               std::string_view key,
                                                               std::string* buffer) {
  const std::string wanted = "\"" + std::string(key) + "\":\"";
  std::size_t at = text.find(wanted);
  if (at == std::string_view::npos) return std::nullopt;
  const std::size_t begin = buffer->size();
  for (at += wanted.size(); at < text.size() && text[at] != '"'; ++at) {
    char c = text[at];
    if (c == '\\' && at + 1 < text.size()) {
      c = text[++at];
      if (c == 'u') at += 4;
      if (c == 'u' || c == 'n' || c == 'r' || c == 't') c = ' ';
    }
    buffer->push_back(c);
  }
  return std::pair(begin, buffer->size() - begin);
}

// {"received":...,"sender":"10.0.0.5:40212","foreign":false,"time":...,"thread":...,...}
std::optional<SourceLine> ParseListenJson(std::string_view text, std::string* buffer) {
  if (!text.starts_with("{\"received\":") ||
      text.find("\"foreign\":false") == std::string_view::npos) {
    return std::nullopt;
  }
  buffer->clear();
  std::array<std::pair<std::size_t, std::size_t>, 6> places;
  constexpr std::array<std::string_view, 6> kFields = {"sender", "time",   "thread",
                                                       "level",  "module", "text"};
  for (std::size_t i = 0; i < kFields.size(); ++i) {
    const auto place = AppendField(text, kFields[i], buffer);
    if (!place) return std::nullopt;
    places[i] = *place;
  }
  const auto field = [&](std::size_t i) {
    return std::string_view(*buffer).substr(places[i].first, places[i].second);
  };
  if (!HasForm(field(1), kTimeForm)) return std::nullopt;
  return SourceLine{{field(2), field(1), field(4), field(3), field(5)},
                    field(0).substr(0, field(0).rfind(':'))};
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
  if (!HasForm(line.time, kTimeForm)) return std::nullopt;
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

std::optional<SourceLine> ParseSourceLine(std::string_view text, std::string* buffer) {
  if (text.starts_with('(')) {
    if (const auto line = ParseLogLine(WithoutEnd(text))) return SourceLine{*line, {}};
    return std::nullopt;
  }
  text = WithoutEnd(text);
  if (text.starts_with('{')) return ParseListenJson(text, buffer);
  if (const auto line = ParseWithHeader(text)) return line;
  return ParseListenText(text);
}

std::string SortableTime(const LogLine& line) {
  if (line.time.size() != kTimeForm.size()) return std::string(line.time);
  return std::string(line.time.substr(6, 4)) + std::string(line.time.substr(0, 2)) +
         std::string(line.time.substr(3, 2)) + std::string(line.time.substr(11));
}

}  // namespace inspection::logs
