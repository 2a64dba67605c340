// UTF-8 and UTF-16, both ways.
#pragma once

#include <cstddef>
#include <string_view>

namespace platform::posix {

// Both return the length of the whole result and write as much of it as `capacity` allows; with a
// capacity of 0 they only count, and `output` may be null.

// An unpaired surrogate becomes U+FFFD.
std::size_t EncodeUtf8(std::u16string_view text, char* output, std::size_t capacity);

// Invalid input becomes U+FFFD: one for each longest prefix of a valid sequence, one for each other
// byte. `*valid` says whether there was none.
std::size_t DecodeUtf8(std::string_view text, char16_t* output, std::size_t capacity, bool* valid);

}  // namespace platform::posix
