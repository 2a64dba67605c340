// Bytes made fit for patterns and for JSON.
#pragma once

#include <string>
#include <string_view>

namespace simulation::agent {

// A copy of `bytes` in which each byte that is no part of a valid UTF-8 sequence (overlong forms,
// surrogates and what lies above U+10FFFF included) is replaced by U+FFFD. NULs stay.
std::string ReplaceInvalidUtf8(std::string_view bytes);

}  // namespace simulation::agent
