// The text of a message.
#pragma once

#include <cstdarg>
#include <cstddef>

namespace logging {

// Writes what the runtime's vsnprintf writes, cut to `size` - 1 characters and a NUL, and gives the
// end of the text: the place of its first NUL. What stands behind that in the buffer is zero or as
// it was. `size` is at least 1.
//
// The conversions that messages are mostly made of are done here, in a fraction of the runtime's
// time: %s, %d, %u, %x, %X, %%, the numbers with a width and a 0 before it or without. A message
// with anything else goes through the runtime as a whole.
char* FormatMessage(char* buffer, std::size_t size, const char* format, std::va_list arguments)
    __attribute__((format(printf, 3, 0)));

}  // namespace logging
