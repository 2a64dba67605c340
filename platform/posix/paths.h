// Paths on POSIX: the root of the host folders, separators, wide text.
#pragma once

#include <string>
#include <string_view>

#include "platform/widetext.h"

namespace platform::posix {

// The folder that stands for the machine: QUORVEX_ROOT, otherwise the user's state folder. Read
// from the environment at each call. Absolute; empty when nothing names one. Not created.
std::string RootFolder();

// A path with "/" in the place of "\". Empty for null.
std::string NativePath(const char* path);
std::string NativePath(const WideChar* path);

std::string Utf8FromWide(WideStringView text);
WideString WideFromUtf8(std::string_view text);

}  // namespace platform::posix
