// Whether a setting's value is one that the agent accepts.
#pragma once

#include <string_view>

namespace inspection::settings {

enum class ValueJudgement {
  kAccepted,
  kRefused,
  kTooComplex,  // the pattern backtracks too much on this value: given up after some milliseconds
};

// False in a build without an engine for patterns: then JudgeValue must not be called.
bool JudgesValues();

// Matches the decoded value, any bytes, against a pattern of the table. "$" stands for the very end
// only. Patterns are compiled once. For one thread.
ValueJudgement JudgeValue(std::string_view pattern, std::string_view value);

}  // namespace inspection::settings
