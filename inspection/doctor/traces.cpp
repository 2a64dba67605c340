#include "inspection/doctor/traces.h"

#include <charconv>

namespace inspection::doctor {

namespace {

constexpr std::uint32_t kLoadedEvent = 45;
constexpr std::uint32_t kDisabledEvent = 59;

// Without NUL bytes, which turns UTF-16 into plain text as far as it is ASCII, and in lower case.
std::string Plain(std::string_view text) {
  std::string plain;
  for (const char c : text) {
    if (c == '\0') continue;
    plain += c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  }
  return plain;
}

bool Holds(std::string_view text) {
  const std::string plain = Plain(text);
  return plain.find(Plain(kAddInName)) != std::string::npos ||
         plain.find(Plain(kAddInFile)) != std::string::npos;
}

}  // namespace

bool NamesAddIn(std::string_view name, std::string_view bytes) {
  return Holds(name) || Holds(bytes);
}

std::optional<Connect> ConnectOf(std::uint32_t eventId, std::string_view time,
                                 std::string_view text) {
  if (eventId == kDisabledEvent && Holds(text)) return Connect{std::string(time), std::nullopt};
  if (eventId != kLoadedEvent) return std::nullopt;
  const std::size_t name = text.find("ProgID: Quorvex.Connect");
  if (name == std::string_view::npos) return std::nullopt;
  text.remove_prefix(name);
  // Up to the next add-in.
  text = text.substr(0, text.find("Name: "));
  constexpr std::string_view kLabel = "Boot Time (Milliseconds): ";
  const std::size_t label = text.find(kLabel);
  if (label == std::string_view::npos) return std::nullopt;
  text.remove_prefix(label + kLabel.size());
  std::uint32_t milliseconds = 0;
  if (std::from_chars(text.data(), text.data() + text.size(), milliseconds).ec != std::errc()) {
    return std::nullopt;
  }
  return Connect{std::string(time), milliseconds};
}

}  // namespace inspection::doctor
