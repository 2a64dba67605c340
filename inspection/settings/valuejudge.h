// Whether a setting's value is one that the agent accepts.
#pragma once

#include <string_view>

namespace inspection::settings {

enum class ValueJudgement {
  kAccepted,
  kRefused,
  kTooComplex,  // the pattern backtracks too much on this value: stopped after a few milliseconds
  kNotChecked   // this build's engine doesn't understand the pattern, or the value is too long for
                // it
};

// Matches the decoded value, which may hold any bytes, against a pattern of the table. "$" matches
// only at the very end. Compiles each pattern once. For one thread.
//
// Natively by PCRE2, which decides everything; on Windows by JudgeWithLibrary.
ValueJudgement JudgeValue(std::string_view pattern, std::string_view value);

// The same by the C++ library's engine. It lacks lookbehind and reads "[]" differently, so patterns
// that have one of them aren't checked, nor are values of more than kMostForLibrary bytes.
ValueJudgement JudgeWithLibrary(std::string_view pattern, std::string_view value);
inline constexpr std::size_t kMostForLibrary = 2048;

}  // namespace inspection::settings
