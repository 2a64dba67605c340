#include <stdexcept>

#include "inspection/settings/valuejudge.h"

namespace inspection::settings {

bool JudgesValues() {
  return false;
}

ValueJudgement JudgeValue(std::string_view, std::string_view) {
  throw std::logic_error("this build has no engine for patterns");
}

}  // namespace inspection::settings
