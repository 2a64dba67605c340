// Conversion between narrow text in a code page and wide text.
#pragma once

#include <cstdint>

#include "platform/widetext.h"

namespace platform {

inline constexpr std::uint32_t kCodePageAnsi = 0;  // where there is none, UTF-8 stands for it
inline constexpr std::uint32_t kCodePageUtf8 = 65001;
// MB_ERR_INVALID_CHARS: fail on input that isn't valid in the code page.
inline constexpr std::uint32_t kFailOnInvalid = 8;

struct CodePageOperations {
  // Converts `size` units of `text` into `output`, which has room for `capacity` units, and gives
  // the number of units written. With a capacity of 0 nothing is written and the result is the
  // number needed. No terminator is added; a NUL in the text is an ordinary character. 0 on
  // failure: nothing to convert, not enough room, or invalid input where the flags say so.
  // To UTF-8, a surrogate without its partner becomes U+FFFD.
  int (*WideCharToMultiByte)(std::uint32_t codePage, std::uint32_t flags, const WideChar* text,
                             int size, char* output, int capacity);
  // From UTF-8 without kFailOnInvalid, invalid bytes become U+FFFD.
  int (*MultiByteToWideChar)(std::uint32_t codePage, std::uint32_t flags, const char* text,
                             int size, WideChar* output, int capacity);
};

extern constinit CodePageOperations codepages;

}  // namespace platform
