#include "platform/formatting.h"

#include <locale.h>

#include <cstdio>

namespace platform {
namespace {

int Format(char* output, std::size_t capacity, const char* format, Locale locale,
           std::va_list arguments) {
  if (locale == nullptr) {
    return std::vsnprintf(output, capacity, format, arguments);
  }
  // No vsnprintf takes a locale, so change the thread's locale for this call.
  const locale_t before = uselocale(static_cast<locale_t>(locale));
  const int length = std::vsnprintf(output, capacity, format, arguments);
  uselocale(before);
  return length;
}

Locale CreateLocale(const char* name) {
  return newlocale(LC_ALL_MASK, name, nullptr);
}

void FreeLocale(Locale locale) {
  if (locale != nullptr) {
    freelocale(static_cast<locale_t>(locale));
  }
}

}  // namespace

constinit FormattingOperations formatting = {&Format, &CreateLocale, &FreeLocale};

}  // namespace platform
