// The text of a message, against the runtime's.
#include "logging/messageformat.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>

namespace {

constexpr std::size_t kCapacity = 64;

struct Formatted {
  std::string text;
  std::size_t end;
};

Formatted Ours(std::size_t size, const char* format, va_list arguments)
    __attribute__((format(printf, 2, 0)));

// The bytes behind the buffer that was given are watched.
Formatted Ours(std::size_t size, const char* format, va_list arguments) {
  char buffer[kCapacity + 1];
  std::memset(buffer, '#', sizeof buffer);
  const char* const end = logging::FormatMessage(buffer, size, format, arguments);
  for (std::size_t at = size; at < sizeof buffer; ++at) EXPECT_EQ(buffer[at], '#') << at;
  return {buffer, static_cast<std::size_t>(end - buffer)};
}

// Compares both at every size of the buffer up to one that holds the text whole.
void ExpectAsRuntime(const char* format, ...) __attribute__((format(printf, 1, 2)));

void ExpectAsRuntime(const char* format, ...) {
  for (std::size_t size = 1; size <= kCapacity; ++size) {
    char expected[kCapacity] = {};
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(expected, size, format, arguments);
    va_end(arguments);
    va_start(arguments, format);
    const Formatted ours = Ours(size, format, arguments);
    va_end(arguments);
    EXPECT_EQ(ours.text, expected) << format << " in " << size;
    EXPECT_EQ(ours.end, std::strlen(expected)) << format << " in " << size;
  }
}

TEST(MessageFormat, WritesPlainTextAndPercentSigns) {
  const char* volatile nothing = "";
  ExpectAsRuntime("%s", nothing);
  ExpectAsRuntime("no conversion at all");
  ExpectAsRuntime("100%% of %%s");
}

TEST(MessageFormat, WritesTexts) {
  ExpectAsRuntime("%s> Get %s @%s(%d)", "CheckEmail", "_MailItem", "file.cpp", 42);
  ExpectAsRuntime("%s%s", "", "\xC3\xA4\xFF%d");
  const char* volatile none = nullptr;
  ExpectAsRuntime("a %s b %d", none, 5);
  ExpectAsRuntime("[%10s] [%-4s] [%.3s]", "abcdef", "x", "abcdef");
}

TEST(MessageFormat, WritesSignedNumbers) {
  for (const int number : {0, 1, -1, 9, 10, -10, 99999, -99999, INT_MAX, INT_MIN}) {
    ExpectAsRuntime("[%d] [%5d] [%05d] [%1d] [%01d]", number, number, number, number, number);
    ExpectAsRuntime("[%-5d] [%+d] [% d] [%12d]", number, number, number, number);
  }
}

TEST(MessageFormat, WritesUnsignedNumbers) {
  for (const unsigned number : {0U, 1U, 9U, 10U, 0xABCDU, 0x7FFFFFFFU, UINT_MAX}) {
    ExpectAsRuntime("[%u] [%3u] [%03u] [%x]", number, number, number, number);
    ExpectAsRuntime("0x%08x 0x%08X %X %4x %#x %o", number, number, number, number, number, number);
  }
}

TEST(MessageFormat, LeavesWhatIsRareToTheRuntimeInItsOrder) {
  ExpectAsRuntime("%d %s %ld %u", 1, "two", 3L, 4U);
  ExpectAsRuntime("%d %c%s %.2f %*d|%p", 1, 'c', "s", 2.5, 5, 7, static_cast<void*>(nullptr));
}

TEST(MessageFormat, EndsAtANulAndLeavesNothingBehindIt) {
  char buffer[16];
  std::memset(buffer, '#', sizeof buffer);
  const auto format = [&buffer](const char* text, ...) {
    std::va_list arguments;
    va_start(arguments, text);
    char* const end = logging::FormatMessage(buffer, sizeof buffer, text, arguments);
    va_end(arguments);
    return end;
  };
  EXPECT_EQ(format("ab%ccd", 0), buffer + 2);
  EXPECT_EQ(std::string(buffer, sizeof buffer), "ab" + std::string(14, '\0'));
}

}  // namespace
