#include "logging/runtimetext.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

namespace logging {

namespace {

char ToLower(char character) {
  return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a')
                                              : character;
}

}  // namespace

bool EqualsIgnoringCase(std::string_view one, std::string_view other) {
  return std::equal(one.begin(), one.end(), other.begin(), other.end(),
                    [](char left, char right) { return ToLower(left) == ToLower(right); });
}

std::int32_t ToInteger(const char* text) {
  // Where long is wider than int, strtol's limits differ from atoi's.
  constexpr long kLeast = std::numeric_limits<std::int32_t>::min();
  constexpr long kMost = std::numeric_limits<std::int32_t>::max();
  return static_cast<std::int32_t>(std::clamp(std::strtol(text, nullptr, 10), kLeast, kMost));
}

bool IsSpace(char character) {
  return character == ' ' || (character >= '\t' && character <= '\r');
}

}  // namespace logging
