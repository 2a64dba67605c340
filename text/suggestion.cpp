#include "text/suggestion.h"

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <vector>

namespace {

char Lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

// Edit distance: insertions, deletions, replacements and swaps of neighbours.
std::size_t Distance(std::string_view a, std::string_view b) {
  std::vector<std::size_t> beforeLast(b.size() + 1);
  std::vector<std::size_t> last(b.size() + 1);
  std::vector<std::size_t> row(b.size() + 1);
  std::iota(last.begin(), last.end(), std::size_t{0});
  for (std::size_t i = 1; i <= a.size(); ++i) {
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const bool same = Lower(a[i - 1]) == Lower(b[j - 1]);
      row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + (same ? 0 : 1)});
      if (i > 1 && j > 1 && Lower(a[i - 1]) == Lower(b[j - 2]) &&
          Lower(a[i - 2]) == Lower(b[j - 1])) {
        row[j] = std::min(row[j], beforeLast[j - 2] + 1);
      }
    }
    beforeLast.swap(last);
    last.swap(row);
  }
  return last[b.size()];
}

}  // namespace

std::string_view ClosestTo(std::string_view word, std::span<const std::string_view> candidates) {
  // Longer words are no misspelt names, and the table grows with their length.
  constexpr std::size_t kLongest = 64;
  if (word.size() > kLongest) return {};
  std::string_view best;
  std::size_t bestDistance = std::max<std::size_t>(1, word.size() / 3) + 1;
  for (const std::string_view candidate : candidates) {
    const std::size_t distance = Distance(word, candidate);
    if (distance < bestDistance) {
      best = candidate;
      bestDistance = distance;
    }
  }
  return best;
}

std::string Suggestion(std::string_view word, std::span<const std::string_view> candidates) {
  const std::string_view closest = ClosestTo(word, candidates);
  if (closest.empty()) return {};
  return "; did you mean \"" + std::string(closest) + "\"?";
}
