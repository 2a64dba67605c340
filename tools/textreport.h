// What the diagnosing subcommands share: text of files in lines for a terminal, and in JSON.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace tools {

// `text`, printable, broken at blanks (anywhere where a word is longer) into lines of at most
// `width` columns; each but the first is indented. No line end behind the last.
std::string Wrapped(std::string_view text, std::size_t width, std::size_t indent);

// `text` made printable and cut to `width` columns where it is longer.
std::string Shortened(std::string_view text, std::size_t width);

// `text` with each byte that is no UTF-8 replaced by U+FFFD; control characters stay.
std::string ValidUtf8(std::string_view text);

// "1 mail", "2 mails": a count and the word for one of them, which takes an "s" for more or none.
std::string Counted(std::uint64_t count, std::string_view one);

// Ends the command with a message, "<command>: <path>: <why>", if this is no file that can be read.
void RequireFile(std::string_view command, const std::string& path);

}  // namespace tools
