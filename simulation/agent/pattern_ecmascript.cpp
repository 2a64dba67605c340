#include <algorithm>
#include <regex>
#include <utility>

#include "platform/clock.h"
#include "simulation/agent/pattern.h"

namespace simulation::agent {
namespace {

constexpr std::uint32_t kMillisecondsPerSearch = 1000;
// The library's engine uses much memory for each character of its text and, in the worst case, time
// that grows with the square of the length, and it can't be interrupted. So it gets a long line in
// overlapping pieces, small enough that the worst one takes about a second on a slow machine (16 KB
// took over 100 s in a 32-bit build). A match longer than the overlap may be missed.
constexpr std::size_t kPiece = 2048;
constexpr std::size_t kOverlap = 512;

constexpr std::string_view kIgnoreCase = "(?i)";

}  // namespace

struct Pattern::Engine {
  std::regex expression;
};

Pattern::Pattern(std::string text, std::unique_ptr<Engine> engine)
    : m_text(std::move(text)), m_engine(std::move(engine)) {}
Pattern::Pattern(Pattern&&) noexcept = default;
Pattern& Pattern::operator=(Pattern&&) noexcept = default;
Pattern::~Pattern() = default;

std::optional<Pattern> Pattern::Compile(std::string_view text, PatternError* error) {
  std::string_view body = text;
  // The polynomial engine doesn't backtrack or recurse; in exchange it has no back-references.
  auto flags = std::regex::ECMAScript | std::regex_constants::__polynomial;
  if (body.starts_with(kIgnoreCase)) {
    body.remove_prefix(kIgnoreCase.size());
    flags |= std::regex::icase;
  }
  try {
    auto engine =
        std::make_unique<Engine>(Engine{std::regex(body.data(), body.data() + body.size(), flags)});
    return Pattern(std::string(text), std::move(engine));
  } catch (const std::regex_error& wrong) {
    *error = {wrong.code() == std::regex_constants::error_complexity
                  ? "back-references aren't known on this system"
                  : wrong.what(),
              std::nullopt};
    return std::nullopt;
  }
}

PatternResult Pattern::Search(std::string_view text) const {
  const std::uint32_t began = platform::clock.GetTickCount();
  try {
    for (;;) {
      const std::size_t lineEnd = std::min(text.find('\n'), text.size());
      std::string_view line = text.substr(0, lineEnd);
      if (line.ends_with('\r')) line.remove_suffix(1);
      for (std::size_t begin = 0;; begin += kPiece - kOverlap) {
        const std::string_view piece = line.substr(begin, kPiece);
        const bool last = begin + piece.size() == line.size();
        auto flags = std::regex_constants::match_default;
        if (begin != 0) flags |= std::regex_constants::match_prev_avail;
        if (!last) flags |= std::regex_constants::match_not_eol;
        if (std::regex_search(piece.data(), piece.data() + piece.size(), m_engine->expression,
                              flags)) {
          return PatternResult::kMatch;
        }
        if (last) break;
        if (platform::clock.GetTickCount() - began > kMillisecondsPerSearch) {
          return PatternResult::kTooCostly;
        }
      }
      if (lineEnd == text.size()) return PatternResult::kNoMatch;
      text.remove_prefix(lineEnd + 1);
    }
  } catch (const std::regex_error&) {
    return PatternResult::kTooCostly;
  }
}

}  // namespace simulation::agent
