#include "platform/formatting.h"

#include <locale.h>
#include <stdio.h>

namespace platform {
namespace {

int Format(char* output, std::size_t capacity, const char* format, Locale locale,
           std::va_list arguments) {
  if (locale == nullptr) {
    return vsnprintf(output, capacity, format, arguments);
  }
  const auto runtimeLocale = static_cast<_locale_t>(locale);
  // _vsnprintf_l has the same result for a text that doesn't fit and for a failed conversion, so
  // determine the length first.
  std::va_list again;
  va_copy(again, arguments);
  const int length = _vscprintf_l(format, runtimeLocale, again);
  va_end(again);
  if (length < 0 || static_cast<std::size_t>(length) >= capacity) {
    return length;
  }
  return _vsnprintf_l(output, capacity, format, runtimeLocale, arguments);
}

Locale CreateLocale(const char* name) {
  return _create_locale(LC_ALL, name);
}

void FreeLocale(Locale locale) {
  if (locale != nullptr) {
    _free_locale(static_cast<_locale_t>(locale));
  }
}

}  // namespace

constinit FormattingOperations formatting = {&Format, &CreateLocale, &FreeLocale};

}  // namespace platform
