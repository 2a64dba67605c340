// Text between the host's wide form (UTF-16) and the module's narrow one (UTF-8).
//
// A failed conversion gives the empty string and says nothing: callers treat it as empty text. A
// NUL in the text is kept. All functions are reentrant and may be called from any thread.
#pragma once

#include <string>
#include <string_view>

#include "platform/widetext.h"

// A surrogate without its partner becomes U+FFFD; nothing else fails.
std::string WideToUtf8(platform::WideStringView text);

// Invalid UTF-8 anywhere gives the empty string.
platform::WideString Utf8ToWide(std::string_view text);

// The same for the system's ANSI code page, and between it and UTF-8. Not used by the add-in.
std::string WideToAnsi(platform::WideStringView text);
platform::WideString AnsiToWide(std::string_view text);
std::string AnsiToUtf8(std::string_view text);
std::string Utf8ToAnsi(std::string_view text);
