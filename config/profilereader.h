// The agent's property file, read afresh for each use.
//
// Each line with a "=" is a property: what stands before the first one is the key, all behind it
// the value. Both lose the blanks (spaces and tabs) around them; the key counts in lower case, the
// value is decoded by UnescapeValue. Every other line is skipped: there are no comments, sections
// or continuation lines. A line ends at LF or CR LF, the last one also at the end of the file. No
// byte-order mark is known: one makes the first key another key.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>

// The keys that a caller wants, with their defaults, and after ProfileReader their values. Keys
// are lower case: one with a capital letter is never found. Ordered bytewise, a prefix before what
// it begins.
using ProfileMap = std::map<std::string, std::string>;

// Where the property file lies below the Windows directory.
inline constexpr const char* kProfileSuffix = "\\system32\\zbagent\\vrk.pro";

// Reads the whole file at `path`, a path in the system's ANSI code page, and overwrites the values
// of the keys that stand in `wanted`; keys are never added. A key that the file has twice gets the
// later line's value, even an empty one. True if the file could be opened, whether or not a key
// was found and even if its reading broke off; false, with nothing touched, if it could not or if
// `wanted` is empty, when the file isn't tried at all. Logs nothing, throws only when memory runs
// out. Memory is taken only for values that are wanted, whatever the size of the file.
bool ProfileReader(const std::string& path, ProfileMap& wanted);

// Takes spaces and tabs, and nothing else, off both ends of `text`, and returns it.
std::string& TrimBlanks(std::string& text);

// Maps each byte through the runtime's tolower, up to the first NUL if there is one.
void ToLowerInPlace(std::string& text);

// True if a backslash at `position` begins an escape pair: it isn't the last character, it is not
// itself the second of a pair (an odd number of backslashes ends there), and one of , \ = # t n r
// v f follows.
bool IsEscapeAt(std::string_view text, std::size_t position);

// The text with its escape pairs decoded: \n \r \t \v \f become the control characters of those
// names, \, \\ \= \# the second character. A backslash before anything else stays, and so does
// what follows it.
std::string UnescapeValue(std::string_view text);
