// Paths on POSIX: the root folder, separators, wide text.
#pragma once

#include <string>
#include <string_view>

#include "platform/widetext.h"

namespace platform::posix {

// The folder that represents the machine: QUORVEX_ROOT, otherwise the user's state folder. Reads
// the environment on each call. Returns an absolute path, or an empty one if neither exists.
// Doesn't create the folder.
std::string RootFolder();

// The path with "/" instead of "\". Empty for null.
std::string NativePath(const char* path);
std::string NativePath(const WideChar* path);

std::string Utf8FromWide(WideStringView text);
WideString WideFromUtf8(std::string_view text);

}  // namespace platform::posix
