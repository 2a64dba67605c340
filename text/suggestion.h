// Suggestions for misspelt words.
#pragma once

#include <span>
#include <string>
#include <string_view>

// The candidate closest to `word`, ignoring ASCII case, or an empty view if none is close: at most
// one letter in three may differ, but one always may. The first of several equally close ones. The
// view refers to `candidates`.
std::string_view ClosestTo(std::string_view word, std::span<const std::string_view> candidates);

// `; did you mean "block"?` with the closest candidate, or an empty text. Append it to the message
// about an unknown word.
std::string Suggestion(std::string_view word, std::span<const std::string_view> candidates);
