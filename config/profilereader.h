// The agent's property file, read afresh for each use.
#pragma once

#include <map>
#include <string>

// The keys that a caller wants, with their defaults, and after ProfileReader their values. Keys
// are lower case. Ordered bytewise, a prefix before what it begins.
using ProfileMap = std::map<std::string, std::string>;

// Where the property file lies below the Windows directory.
inline constexpr const char* kProfileSuffix = "\\system32\\zbagent\\vrk.pro";

// Reads the whole file at `path` and overwrites the values of the keys that stand in `wanted`;
// keys are never added. True if the file could be opened, whether or not a key was found; false,
// with nothing touched, if it could not or if `wanted` is empty. Logs nothing.
bool ProfileReader(const std::string& path, ProfileMap& wanted);
