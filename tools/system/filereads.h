// Whether a file has been read, by the time of last access that the file system keeps.
#pragma once

#include <string>

namespace tools::system {

// Prepares the file at `path` (UTF-8) for WasRead by setting its time of last access back. False if
// the file system doesn't record when a file is read, which this tries out.
bool WatchReads(const std::string& path);

// Whether a process has read the file since. False as well if there is no such file.
bool WasRead(const std::string& path);

}  // namespace tools::system
