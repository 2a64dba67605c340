// Text for a terminal: how many columns it takes, and what must not get there.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tools {

// `text` with each control character replaced by a visible one, so that a mail's own words can't
// steer the terminal. Invalid UTF-8 becomes U+FFFD.
std::string Printable(std::string_view text);

// The columns that valid UTF-8 takes on a terminal: wide characters two, combining ones none.
std::size_t DisplayWidth(std::string_view text);

// `text`, which must be valid UTF-8, in exactly `width` columns: cut with an ellipsis in its
// middle, where paths and lists lose least, or filled up with blanks on the right.
std::string Padded(std::string_view text, std::size_t width);

}  // namespace tools
