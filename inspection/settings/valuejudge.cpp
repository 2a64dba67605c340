#include "inspection/settings/valuejudge.h"

#include <map>
#include <regex>
#include <string>

namespace inspection::settings {

namespace {

const std::regex& Compiled(std::string_view pattern) {
  static std::map<std::string, std::regex, std::less<>> compiled;
  const auto found = compiled.find(pattern);
  if (found != compiled.end()) return found->second;
  // This engine doesn't backtrack, so no value makes it slow, and it doesn't recurse.
  constexpr auto kFlags = std::regex::ECMAScript | std::regex_constants::__polynomial;
  return compiled.emplace(pattern, std::regex(pattern.begin(), pattern.end(), kFlags))
      .first->second;
}

}  // namespace

ValueJudgement JudgeWithLibrary(std::string_view pattern, std::string_view value) {
  const bool isUnderstood =
      pattern.find("(?<") == std::string_view::npos && pattern.find("[]") == std::string_view::npos;
  if (!isUnderstood || value.size() > kMostForLibrary) return ValueJudgement::kNotChecked;
  try {
    return std::regex_match(value.begin(), value.end(), Compiled(pattern))
               ? ValueJudgement::kAccepted
               : ValueJudgement::kRefused;
  } catch (const std::regex_error&) {
    return ValueJudgement::kNotChecked;
  }
}

}  // namespace inspection::settings
