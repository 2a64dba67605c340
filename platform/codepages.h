// Conversion between narrow text in a code page and wide text.
#pragma once

#include <cstdint>

#include "platform/widetext.h"

namespace platform {

inline constexpr std::uint32_t kCodePageAnsi = 0;  // UTF-8 on systems without one
inline constexpr std::uint32_t kCodePageUtf8 = 65001;
// MB_ERR_INVALID_CHARS: fail on input that isn't valid in the code page.
inline constexpr std::uint32_t kFailOnInvalid = 8;

struct CodePageOperations {
  // Converts `size` units of `text` into `output`, which holds `capacity` units, and returns the
  // number of units written. With a capacity of 0, writes nothing and returns the number needed.
  // Adds no terminator and treats NUL as an ordinary character. Returns 0 on failure: empty input,
  // too little room, or invalid input if the flags say so. An unpaired surrogate becomes U+FFFD in
  // UTF-8.
  int (*WideCharToMultiByte)(std::uint32_t codePage, std::uint32_t flags, const WideChar* text,
                             int size, char* output, int capacity);
  // Without kFailOnInvalid, invalid UTF-8 becomes U+FFFD.
  int (*MultiByteToWideChar)(std::uint32_t codePage, std::uint32_t flags, const char* text,
                             int size, WideChar* output, int capacity);
};

extern constinit CodePageOperations codepages;

}  // namespace platform
