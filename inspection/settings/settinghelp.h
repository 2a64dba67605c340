// What the settings' patterns accept, in words.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "config/configkeytable.h"

namespace inspection::settings {

// All texts are static.
struct SettingHelp {
  std::string_view accepted;                  // in words: "0 to 3600"
  std::span<const std::string_view> matches;  // values that the pattern accepts
  std::span<const std::string_view> refused;  // similar values that it doesn't accept
};

// The help on a setting of the table. Settings that share a pattern share their help.
const SettingHelp& HelpOn(const ConfigKey& setting);

// What a setting of the table is for.
struct SettingMeaning {
  std::string_view meaning;  // one line
  std::string_view unit;  // of its value; empty if it has none, kUnitUnknown if nothing states it
};
inline constexpr std::string_view kUnitUnknown = "not stated";

// The agent defines its settings; what is known of them here follows from their names and patterns.
const SettingMeaning& MeaningOf(const ConfigKey& setting);

// The setting with this key in the property file, ignoring ASCII case; null if the table has none.
const ConfigKey* FindByPublicKey(std::string_view key);

// `; did you mean "hide_me"?` with the most similar known key; empty if none is similar.
std::string SuggestedKey(std::string_view key);

// A decoded value as the property file has to have it: with each backslash doubled.
std::string AsWritten(std::string_view value);

// A setting that the add-in itself reads. The agent knows the defaults of all the others; they
// aren't in the table.
struct AddInSetting {
  std::string_view key;  // its public key
  std::string_view defaultValue;
  std::string_view meaning;
};
inline constexpr AddInSetting kAddInSettings[] = {
    {"use_challenge_response", "false",
     "true: wait up to 185 s for each answer, because the agent may ask the user; otherwise 2.5 s"},
    {"x_name", "QV_DLP_TAGGING", "the name of the header that marks a tagged mail"},
    {"x_value", "The message is sensitive", "the value of that header"}};

// The add-in's setting with this public key, or null. Ignores ASCII case.
const AddInSetting* FindAddInSetting(std::string_view key);

// A key that the add-in reads from the property file although the table has no row for it.
inline constexpr std::string_view kChallengeKey = "use_challenge_response";
inline constexpr std::string_view kChallengeAccepted =
    "true or false; anything but exactly true counts as false";

}  // namespace inspection::settings
