// What the settings' patterns mean, for people.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "config/configkeytable.h"

namespace inspection::settings {

// All texts last as long as the program.
struct SettingHelp {
  std::string_view accepted;                  // in words: "0 to 3600"
  std::span<const std::string_view> matches;  // values that the pattern accepts
  std::span<const std::string_view> refused;  // values near by that it doesn't
};

// The help on a setting of the table. Settings that share a pattern share their help.
const SettingHelp& HelpOn(const ConfigKey& setting);

// The setting that the property file knows by this key, without regard to ASCII case as in the
// file; null if the table has none.
const ConfigKey* FindByPublicKey(std::string_view key);

// `; did you mean "hide_me"?` for the known key of the property file that is closest, or nothing.
std::string SuggestedKey(std::string_view key);

// A key that the add-in reads from the property file although the table has no row for it.
inline constexpr std::string_view kChallengeKey = "use_challenge_response";
inline constexpr std::string_view kChallengeAccepted =
    "true or false; anything but exactly true counts as false";

}  // namespace inspection::settings
