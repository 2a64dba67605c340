// Conversion between wide text (UTF-16) and narrow text (UTF-8).
//
// A failed conversion returns an empty string, which callers treat as empty text. NULs are ordinary
// characters. All functions are reentrant; any thread may call them.
#pragma once

#include <string>
#include <string_view>

#include "platform/widetext.h"

// An unpaired surrogate becomes U+FFFD. Nothing else can be invalid.
std::string WideToUtf8(platform::WideStringView text);

// Returns an empty string if any part is invalid UTF-8.
platform::WideString Utf8ToWide(std::string_view text);

// The same for the ANSI code page, and between it and UTF-8. The add-in doesn't use these.
std::string WideToAnsi(platform::WideStringView text);
platform::WideString AnsiToWide(std::string_view text);
std::string AnsiToUtf8(std::string_view text);
std::string Utf8ToAnsi(std::string_view text);
