#include "platform/codepages.h"

#include <climits>

#include "platform/posix/utf.h"

namespace platform {
namespace {

// As the table gives a number: 0 for what didn't fit or can't be told in an int.
int Told(std::size_t length) {
  return length > INT_MAX ? 0 : static_cast<int>(length);
}

// The code page isn't looked at: where there is no ANSI page, every narrow text is UTF-8.
int WideCharToMultiByte(std::uint32_t /*codePage*/, std::uint32_t /*flags*/, const WideChar* text,
                        int size, char* output, int capacity) {
  if (text == nullptr || size <= 0 || capacity < 0) return 0;
  const auto units = static_cast<std::size_t>(size);
  if (capacity == 0) return Told(posix::Utf8Length(text, units));
  return Told(posix::WriteUtf8(text, units, output, static_cast<std::size_t>(capacity)));
}

int MultiByteToWideChar(std::uint32_t /*codePage*/, std::uint32_t flags, const char* text, int size,
                        WideChar* output, int capacity) {
  if (text == nullptr || size <= 0 || capacity < 0) return 0;
  const auto bytes = static_cast<std::size_t>(size);
  bool valid = true;
  const std::size_t length =
      capacity == 0
          ? posix::Utf16Length(text, bytes, &valid)
          : posix::WriteUtf16(text, bytes, output, static_cast<std::size_t>(capacity), &valid);
  return !valid && (flags & kFailOnInvalid) != 0 ? 0 : Told(length);
}

}  // namespace

constinit CodePageOperations codepages = {
    .WideCharToMultiByte = &WideCharToMultiByte,
    .MultiByteToWideChar = &MultiByteToWideChar,
};

}  // namespace platform
