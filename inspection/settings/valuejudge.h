// Whether a setting's value is one that the agent accepts.
#pragma once

#include <string_view>

namespace inspection::settings {

enum class ValueJudgement {
  kAccepted,
  kRefused,
  kTooComplex,  // the pattern backtracks too much on this value: stopped after a few milliseconds
};

// False in a build without a pattern engine; don't call JudgeValue there.
bool JudgesValues();

// Matches the decoded value, which may hold any bytes, against a pattern of the table. "$" matches
// only at the very end. Compiles each pattern once. For one thread.
ValueJudgement JudgeValue(std::string_view pattern, std::string_view value);

}  // namespace inspection::settings
