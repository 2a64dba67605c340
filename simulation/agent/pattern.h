// Patterns of the rules file.
//
// One class with two engines, of which the build takes one:
//
//   PCRE2, natively: Perl's patterns, on characters.
//   ECMAScript, where PCRE2 isn't there (the Windows build): the C++ library's patterns. They know
//   no look-behind, no named groups, no \p{...}, no possessive or atomic groups and no
//   back-references, look at bytes (a "." is one byte of a longer character), and don't reach over
//   a line end.
//
// In both a pattern matches anywhere unless it is anchored; "^" and "$" stand for the beginning and
// the end of each line, whether it ends in LF or CR LF; and "(?i)" at the pattern's beginning makes
// it look at letters without regard to case, beyond ASCII with PCRE2 only.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace simulation::agent {

// What is wrong with a pattern.
struct PatternError {
  std::string message;
  // How many bytes of the pattern were read when it showed; absent where the engine doesn't tell.
  std::optional<std::size_t> offset;
};

enum class PatternResult {
  kNoMatch,
  kMatch,
  kTooCostly,  // given up: the pattern backtracks too much on this text
};

class Pattern {
 public:
  // Absent when `text` (UTF-8) is no valid pattern, and `*error` says why.
  static std::optional<Pattern> Compile(std::string_view text, PatternError* error);

  Pattern(Pattern&&) noexcept;
  Pattern& operator=(Pattern&&) noexcept;
  ~Pattern();

  // Looks for the pattern in `text`, which must be valid UTF-8 (see ReplaceInvalidUtf8). Takes
  // about a second at most, whatever the pattern and the text. May be called by several threads.
  PatternResult Search(std::string_view text) const;

  const std::string& Text() const { return m_text; }

 private:
  struct Engine;
  Pattern(std::string text, std::unique_ptr<Engine> engine);

  std::string m_text;
  std::unique_ptr<Engine> m_engine;
};

}  // namespace simulation::agent
