// The C runtime's formatted output with a locale of the caller's choice.
#pragma once

#include <cstdarg>
#include <cstddef>

namespace platform {

// Opaque. Null means the locale that is current when the call is made.
using Locale = void*;

struct FormattingOperations {
  // Like vsnprintf: writes at most `capacity` bytes, a NUL among them, and gives the length of the
  // whole text, which did not fit if it is `capacity` or more (what the buffer then holds is left
  // open). Negative when an argument can't be converted. The decimal point and the encoding of
  // wide arguments are the locale's.
  int (*Format)(char* output, std::size_t capacity, const char* format, Locale locale,
                std::va_list arguments);

  // The locale of this name in the system's own spelling; "C" is always there. Null for a name
  // that the system doesn't know. Belongs to the caller, until FreeLocale, which takes null too.
  Locale (*CreateLocale)(const char* name);
  void (*FreeLocale)(Locale locale);
};

extern constinit FormattingOperations formatting;

}  // namespace platform
