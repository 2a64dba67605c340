// Wide text: UTF-16 code units in every build, because the host and the Windows file system use
// UTF-16. Where wchar_t is wider than 16 bits, char16_t takes its place; all other code uses only
// these names.
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
