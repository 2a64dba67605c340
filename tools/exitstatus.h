// The exit statuses that every command shares.
#pragma once

namespace tools {

inline constexpr int kExitDone = 0;
inline constexpr int kExitFindings = 1;    // something was blocked, or found
inline constexpr int kExitUnreadable = 2;  // some input can't be read; the rest was done
inline constexpr int kExitUsage = 3;       // wrong usage, or nothing could be set up

}  // namespace tools
