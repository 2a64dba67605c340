// The agent's property file. It is read again for each use.
//
// A line with a "=" is a property: the key is what precedes the first "=", the value what follows
// it. Spaces and tabs around either are dropped. Keys compare in lower case; values are decoded by
// UnescapeValue. All other lines are ignored: the format has no comments, sections or continuation
// lines. Lines end with LF or CR LF; the last one may lack its end. A byte-order mark isn't
// skipped, so it becomes part of the first key.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>

// The wanted keys with their defaults; ProfileReader replaces the defaults by the values in the
// file. Write keys in lower case: one with a capital letter never matches. Ordered bytewise.
using ProfileMap = std::map<std::string, std::string>;

// The property file's path below the Windows directory.
inline constexpr const char* kProfileSuffix = "\\system32\\zbagent\\vrk.pro";

// Reads the file at `path` (ANSI code page) and sets the values of those keys in `wanted` that it
// contains. Never adds a key. If a key occurs twice, the later line wins, even with an empty value.
// Returns true if the file could be opened, even if no key was found or a read failed half-way.
// Returns false and changes nothing if it couldn't be opened, or if `wanted` is empty, in which
// case it doesn't try. Logs nothing. Throws only std::bad_alloc. Holds one line in memory at a
// time.
bool ProfileReader(const std::string& path, ProfileMap& wanted);

// Removes spaces and tabs from both ends of `text` and returns `text`.
std::string& TrimBlanks(std::string& text);

// Applies the C runtime's tolower to each byte, up to the first NUL if there is one.
void ToLowerInPlace(std::string& text);

// True if the backslash at `position` starts an escape pair: one of , \ = # t n r v f follows it,
// and it isn't itself the second half of a pair (an odd number of backslashes ends at `position`).
bool IsEscapeAt(std::string_view text, std::size_t position);

// Decodes the escape pairs of `text`: \n \r \t \v \f become the usual control characters, and
// \, \\ \= \# become their second character. Any other backslash stays.
std::string UnescapeValue(std::string_view text);
