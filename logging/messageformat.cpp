#include "logging/messageformat.h"

#include <cstdint>
#include <cstdio>
#include <cstring>

#include "logging/boundedtext.h"

namespace logging {

namespace {

constexpr const char* kLowerDigits = "0123456789abcdef";
constexpr const char* kUpperDigits = "0123456789ABCDEF";

// What stands between the percent sign and the letter of a number.
struct NumberStyle {
  std::size_t width = 0;
  char fill = ' ';
};

NumberStyle TakeStyle(const char** at) {
  NumberStyle style;
  if (**at == '0') {
    style.fill = '0';
    ++*at;
  }
  if (**at >= '1' && **at <= '9') style.width = static_cast<std::size_t>(*(*at)++ - '0');
  return style;
}

// False at the first conversion that is the runtime's to do.
bool FormatPlain(BoundedText& text, const char* format, std::va_list arguments) {
  while (*format != '\0') {
    const char* at = std::strchr(format, '%');
    if (at == nullptr) {
      text.Add(format);
      return true;
    }
    text.Add({format, static_cast<std::size_t>(at - format)});
    const char* const begin = ++at;
    const NumberStyle style = TakeStyle(&at);
    switch (*at) {
      case 'd':
        text.AddSigned(va_arg(arguments, std::int32_t), style.width, style.fill);
        break;
      case 'u':
        text.AddUnsigned(va_arg(arguments, std::uint32_t), style.width, style.fill);
        break;
      case 'x':
      case 'X':
        text.AddUnsigned<16>(va_arg(arguments, std::uint32_t), style.width, style.fill,
                             *at == 'x' ? kLowerDigits : kUpperDigits);
        break;
      case 's': {
        const char* const value = va_arg(arguments, const char*);
        // How null is written, and how a style counts for a text, is the runtime's to say.
        if (value == nullptr || at != begin) return false;
        text.AddTerminated(value);
        break;
      }
      case '%':
        if (at != begin) return false;
        text.Add('%');
        break;
      default:
        return false;
    }
    format = at + 1;
  }
  return true;
}

}  // namespace

char* FormatMessage(char* buffer, std::size_t size, const char* format, std::va_list arguments) {
  std::va_list again;
  va_copy(again, arguments);
  BoundedText text(buffer, size);
  char* end;
  if (FormatPlain(text, format, arguments)) {
    end = text.At();
    *end = '\0';
  } else {
    // What the runtime can't format leaves what stands in front of it, or nothing.
    buffer[0] = '\0';
    std::vsnprintf(buffer, size, format, again);
    buffer[size - 1] = '\0';
    end = buffer + std::strlen(buffer);
    std::memset(end, 0, static_cast<std::size_t>(buffer + size - end));
  }
  va_end(again);
  return end;
}

}  // namespace logging
