#include "platform/codepages.h"

#include <climits>

#include "platform/posix/utf.h"

namespace platform {
namespace {

// The table's result: 0 for a text that doesn't fit, or whose length doesn't fit an int.
int Result(std::size_t length, int capacity) {
  const std::size_t most = capacity == 0 ? INT_MAX : static_cast<std::size_t>(capacity);
  return length > most ? 0 : static_cast<int>(length);
}

// Both ignore the code page: without an ANSI page, every narrow text is UTF-8.
int WideCharToMultiByte(std::uint32_t /*codePage*/, std::uint32_t /*flags*/, const WideChar* text,
                        int size, char* output, int capacity) {
  if (text == nullptr || size <= 0 || capacity < 0) return 0;
  const std::size_t length = posix::EncodeUtf8({text, static_cast<std::size_t>(size)}, output,
                                               static_cast<std::size_t>(capacity));
  return Result(length, capacity);
}

int MultiByteToWideChar(std::uint32_t /*codePage*/, std::uint32_t flags, const char* text, int size,
                        WideChar* output, int capacity) {
  if (text == nullptr || size <= 0 || capacity < 0) return 0;
  bool valid = true;
  const std::size_t length = posix::DecodeUtf8({text, static_cast<std::size_t>(size)}, output,
                                               static_cast<std::size_t>(capacity), &valid);
  return !valid && (flags & kFailOnInvalid) != 0 ? 0 : Result(length, capacity);
}

}  // namespace

constinit CodePageOperations codepages = {
    .WideCharToMultiByte = &WideCharToMultiByte,
    .MultiByteToWideChar = &MultiByteToWideChar,
};

}  // namespace platform
