#include "platform/codepages.h"

#include <windows.h>

namespace platform {
namespace {

static_assert(kCodePageAnsi == CP_ACP && kCodePageUtf8 == CP_UTF8);
static_assert(kFailOnInvalid == MB_ERR_INVALID_CHARS);

// Windows takes a negative size as "up to the NUL"; the table doesn't offer that.
int WideCharToMultiByte(std::uint32_t codePage, std::uint32_t flags, const WideChar* text, int size,
                        char* output, int capacity) {
  if (size <= 0 || capacity < 0) return 0;
  return ::WideCharToMultiByte(codePage, flags, text, size, output, capacity, nullptr, nullptr);
}

int MultiByteToWideChar(std::uint32_t codePage, std::uint32_t flags, const char* text, int size,
                        WideChar* output, int capacity) {
  if (size <= 0 || capacity < 0) return 0;
  return ::MultiByteToWideChar(codePage, flags, text, size, output, capacity);
}

}  // namespace

constinit CodePageOperations codepages = {
    .WideCharToMultiByte = &WideCharToMultiByte,
    .MultiByteToWideChar = &MultiByteToWideChar,
};

}  // namespace platform
