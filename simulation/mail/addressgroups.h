// Protects the mail library from headers that would exhaust the stack.
#pragma once

#include <string_view>

namespace simulation::mail {

// How many groups ("name: members;") one address header may open. No honest mail has nearly as
// many.
inline constexpr int kMostGroups = 1000;

// True if an address header in `mail`, or in a mail embedded in it as plain text, may open more
// groups than that. The library reads a group inside a group by recursion to any depth, so such a
// mail must not reach it. Each ":" after the header's own counts: only the library knows which ones
// open a group.
bool MayOpenTooManyGroups(std::string_view mail);

}  // namespace simulation::mail
