// Patterns of the rules file.
//
// One class with two engines; the build picks one:
//
//   PCRE2, natively: Perl's patterns, on characters.
//   ECMAScript, in the Windows build: the C++ library's patterns. They have no look-behind, no
//   named groups, no \p{...}, no possessive or atomic groups and no back-references, work on bytes
//   (a "." is one byte of a longer character), and don't match across a line end.
//
// With both, a pattern matches anywhere unless it is anchored; "^" and "$" match at the beginning
// and the end of each line, whether it ends in LF or CR LF; and "(?i)" at the pattern's beginning
// ignores case, beyond ASCII with PCRE2 only.
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
  // The byte offset of the error in the pattern; absent if the engine doesn't report it.
  std::optional<std::size_t> offset;
};

enum class PatternResult {
  kNoMatch,
  kMatch,
  kTooCostly,  // the search was abandoned: it takes too much time or memory on this text
};

class Pattern {
 public:
  // Absent if `text` (UTF-8) isn't a valid pattern; `*error` then says why.
  static std::optional<Pattern> Compile(std::string_view text, PatternError* error);

  Pattern(Pattern&&) noexcept;
  Pattern& operator=(Pattern&&) noexcept;
  ~Pattern();

  // Searches `text`, which must be valid UTF-8 (see ReplaceInvalidUtf8). Takes about a second at
  // most, whatever the pattern and the text. Safe on several threads at once.
  PatternResult Search(std::string_view text) const;

  const std::string& Text() const { return m_text; }

 private:
  struct Engine;
  Pattern(std::string text, std::unique_ptr<Engine> engine);

  std::string m_text;
  std::unique_ptr<Engine> m_engine;
};

}  // namespace simulation::agent
