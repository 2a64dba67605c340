// Small helpers for text that the whole module shares. None keeps state: all are reentrant.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "platform/com/comtypes.h"
#include "platform/formatting.h"
#include "platform/widetext.h"

// The 38 characters "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}", capital hexadecimal digits: the
// first three fields as numbers, the last eight bytes in their stored order.
std::string GuidToString(const GUID& guid);

// Replaces what `pieces` holds by the pieces of `text` between the occurrences of the whole
// `delimiter`, found from the left. Empty pieces are dropped. Without a delimiter the text is the
// one piece, even if it is empty.
void SplitString(std::string_view text, std::vector<std::string>& pieces,
                 std::string_view delimiter);

// The same for wide text, by way of UTF-8: a surrogate without its partner comes out as U+FFFD,
// and matches another such one.
void SplitWideString(platform::WideStringView text, std::vector<platform::WideString>& pieces,
                     platform::WideStringView delimiter);

// Hides the middle of a text that may be a payment card's number: of its digits all but the first
// six and the last four become `mask`; blanks and hyphens stay where they are. A text with any
// other character in it, or with fewer than 14 digits, comes back as it is.
std::string MaskCardNumber(std::string_view text, char mask);

// Formats into `buffer`, which has room for `size` bytes, the NUL among them, and gives the number
// of characters written, without the NUL. For texts whose length is known to fit: one that doesn't
// gives -1 and an empty buffer, and raises the runtime's invalid-parameter error through
// platform::diagnostics. So do a null buffer, a size of 0 and a null format. An argument that
// can't be converted gives -1 and an empty buffer without that error.
int FormatToBuffer(char* buffer, std::size_t size, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

// The same with an argument list, and with the decimal point and the encoding of `locale`; null is
// the current locale.
int FormatToBufferList(char* buffer, std::size_t size, const char* format, platform::Locale locale,
                       std::va_list arguments) __attribute__((format(printf, 3, 0)));
