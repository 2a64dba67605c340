// Wide text: UTF-16 code units on every build.
//
// The host and the file system speak UTF-16. Where the compiler's wchar_t is not 16 bits wide,
// char16_t stands for it; code above this floor uses only the names declared here.
#pragma once

#include <string>
#include <string_view>

namespace platform {

#if defined(_WIN32)
using WideChar = wchar_t;
// A wide literal: QV_WIDE("text") has the type const platform::WideChar[].
#define QV_WIDE(text) L##text
#else
using WideChar = char16_t;
#define QV_WIDE(text) u##text
#endif

using WideString = std::basic_string<WideChar>;
using WideStringView = std::basic_string_view<WideChar>;

static_assert(sizeof(WideChar) == 2, "wide text is UTF-16");

}  // namespace platform
