#include "inspection/settings/valuejudge.h"

namespace inspection::settings {

ValueJudgement JudgeValue(std::string_view pattern, std::string_view value) {
  return JudgeWithLibrary(pattern, value);
}

}  // namespace inspection::settings
