// What a check of a mail, or of one piece of it, comes to.
#pragma once

#include <cstdint>

using ActionCode = std::int32_t;

inline constexpr ActionCode kActionNothingUsable = 1;   // nothing could be learnt
inline constexpr ActionCode kActionNothingDecided = 2;  // what a check starts with
inline constexpr ActionCode kActionBlock = 3;           // the mail stays open
inline constexpr ActionCode kActionGoOn = 4;            // no objection so far
inline constexpr ActionCode kActionGivenUp = 5;         // the add-in's word for a time-out
inline constexpr ActionCode kActionTag = 7;             // let go, with a tag

// The agent's last word on the content: block, or let go with a tag.
constexpr bool IsDecisive(ActionCode action) {
  return ((static_cast<std::uint32_t>(action) - 3U) & ~4U) == 0;
}
