// UTF-8 and UTF-16, both ways.
//
// A conversion is two calls, one for the length and one for the text, and both are made to be
// fast. The texts are mails: mostly ASCII, in runs.
#pragma once

#include <cstddef>

namespace platform::posix {

// What a writer gives when the result doesn't fit; the output's contents are then unspecified, but
// never anything beyond its capacity.
inline constexpr std::size_t kDoesNotFit = ~std::size_t{0};

// A surrogate without its partner becomes U+FFFD.
std::size_t Utf8Length(const char16_t* text, std::size_t size);
std::size_t WriteUtf8(const char16_t* text, std::size_t size, char* output, std::size_t capacity);

// What isn't valid becomes U+FFFD, one for each longest beginning of a sequence that could still
// have become valid, and one for each other byte. `*valid` tells whether there was none of that.
std::size_t Utf16Length(const char* text, std::size_t size, bool* valid);
std::size_t WriteUtf16(const char* text, std::size_t size, char16_t* output, std::size_t capacity,
                       bool* valid);

}  // namespace platform::posix
