// Small text helpers. All are reentrant.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "platform/com/comtypes.h"
#include "platform/formatting.h"
#include "platform/widetext.h"

// The 38 characters "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}" in capital hexadecimal digits: the
// first three fields as numbers, then the eight bytes in order.
std::string GuidToString(const GUID& guid);

// Sets `pieces` to the parts of `text` between occurrences of `delimiter`, searched from the left.
// Drops empty parts. If the delimiter is empty, the whole text is the one piece, even if it is
// empty.
void SplitString(std::string_view text, std::vector<std::string>& pieces,
                 std::string_view delimiter);

// The same for wide text, converted to UTF-8 and back: an unpaired surrogate becomes U+FFFD and
// matches any other one.
void SplitWideString(platform::WideStringView text, std::vector<platform::WideString>& pieces,
                     platform::WideStringView delimiter);

// Masks a text that may be a payment card number: all digits except the first six and the last four
// become `mask`; blanks and hyphens stay. Returns the text unchanged if it contains other
// characters or fewer than 14 digits.
std::string MaskCardNumber(std::string_view text, char mask);

// Formats into `buffer` (`size` bytes including the NUL) and returns the length without the NUL.
// Meant for texts that are known to fit: otherwise it empties the buffer, raises the runtime's
// invalid-parameter error through platform::diagnostics and returns -1. A null buffer, a size of 0
// and a null format do the same. If an argument can't be converted, it empties the buffer and
// returns -1 without that error.
int FormatToBuffer(char* buffer, std::size_t size, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

// The same with an argument list and a locale; null is the current locale.
int FormatToBufferList(char* buffer, std::size_t size, const char* format, platform::Locale locale,
                       std::va_list arguments) __attribute__((format(printf, 3, 0)));
