// Files that a command is given.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

namespace tools {

// A path in UTF-8, as the command line has it, for the standard library.
std::filesystem::path PathOf(std::string_view utf8);

// Ends the command with CommandError, "<path>: <why>" and `status`, unless this is a file that
// might be read: not a folder, and not missing.
void RequireFile(const std::string& path, int status);

// The same for a small file of text. Also refuses pipes and devices, which may never end, and files
// of more than kLargestTextFile bytes.
void RequireTextFile(const std::string& path, int status);
inline constexpr std::uintmax_t kLargestTextFile = std::uintmax_t{1} << 20;

// What the system says about a file that the standard library couldn't open just now. Set errno to
// 0 before opening it: an older error would be reported instead.
std::string WhyNotOpened();

// The error of a file that is there but can't be read: "<path>: can't be opened".
[[noreturn]] void RefuseFile(const std::string& path, int status);

}  // namespace tools
