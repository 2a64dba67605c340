// Text for a terminal: how many columns it takes, which characters are safe to print, and where to
// break a line.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

namespace tools {

// `text` with each invalid UTF-8 sequence replaced by U+FFFD. Control characters stay.
std::string ValidUtf8(std::string_view text);

// `text` with each control character replaced by U+FFFD (tabs and line ends by a blank), so that a
// mail's own text can't control the terminal. So is each invalid UTF-8 sequence.
std::string Printable(std::string_view text);

// The columns that the text takes on a terminal: wide characters two, combining ones none.
std::size_t DisplayWidth(std::string_view text);

// `text` in exactly `width` columns: cut with an ellipsis in its middle, where paths and lists lose
// least, or filled up with blanks on the right.
std::string Padded(std::string_view text, std::size_t width);

// `text` made printable and cut to `width` columns where it is longer.
std::string Shortened(std::string_view text, std::size_t width);

// A width that no text reaches.
inline constexpr std::size_t kUnbroken = std::numeric_limits<std::size_t>::max();

// `text` made printable and broken at blanks (anywhere where a word is longer) into lines of at
// most `width` columns. Every line but the first is indented. No line end after the last.
std::string Wrapped(std::string_view text, std::size_t width, std::size_t indent);

// "1 mail", "2 mails": a count and the word for one of them, which gets an "s" unless the count
// is 1.
std::string Counted(std::uint64_t count, std::string_view one);

}  // namespace tools
