// The C runtime's printf formatting, with an explicit locale.
#pragma once

#include <cstdarg>
#include <cstddef>

namespace platform {

// Opaque. Null means the current locale.
using Locale = void*;

struct FormattingOperations {
  // Like vsnprintf: writes at most `capacity` bytes including the NUL and returns the length of the
  // whole text. If that is `capacity` or more, the text was cut. Returns a negative value if an
  // argument can't be converted. The locale decides the decimal point and the encoding of wide
  // arguments.
  int (*Format)(char* output, std::size_t capacity, const char* format, Locale locale,
                std::va_list arguments);

  // Returns the locale of that name in the system's own spelling, or null if there is none; "C"
  // always exists. The caller frees it with FreeLocale, which accepts null.
  Locale (*CreateLocale)(const char* name);
  void (*FreeLocale)(Locale locale);
};

extern constinit FormattingOperations formatting;

}  // namespace platform
