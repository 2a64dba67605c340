// The word that was probably meant.
#pragma once

#include <span>
#include <string>
#include <string_view>

// The candidate that is closest to `word`, without regard to ASCII case, if few enough letters
// differ for it to be a slip (one in three, at least one); otherwise an empty view. Of two equally
// close ones the first. The view is into `candidates`.
std::string_view ClosestTo(std::string_view word, std::span<const std::string_view> candidates);

// `; did you mean "block"?` for the closest candidate, or nothing: the end of a message about an
// unknown word.
std::string Suggestion(std::string_view word, std::span<const std::string_view> candidates);
