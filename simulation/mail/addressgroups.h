// Keeping the mail library from headers that would exhaust the stack.
#pragma once

#include <string>

namespace simulation::mail {

// The groups ("name: members;") that one address header may open; no mail that was meant to be read
// comes near it.
inline constexpr int kMostGroups = 1000;

// True if an address header of the mail in the file, or of a mail that is embedded in it as it is,
// may open more groups than that. The library reads a group within a group by calling itself, to
// any depth, so such a mail must not get to it. Each ":" behind the header's own counts, wherever
// it stands: which one opens a group is for the library to say. False for an unreadable file.
bool MayOpenTooManyGroups(const std::string& path);

}  // namespace simulation::mail
