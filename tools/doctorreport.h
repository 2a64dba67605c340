// What `quorvex doctor` prints.
#pragma once

#include <string>
#include <vector>

#include "inspection/doctor/judge.h"

namespace tools {

// For a person: each line at most `width` columns, at least 30, and ended by LF.
std::string DoctorReportText(const inspection::doctor::Machine& machine,
                             const std::vector<inspection::doctor::Finding>& findings,
                             std::size_t width);

// One JSON object without a line end: "verdict", "computer", "time", "outlook", "library", "agent"
// and "findings". Fields may be added, never removed.
std::string DoctorReportJson(const inspection::doctor::Machine& machine,
                             const std::vector<inspection::doctor::Finding>& findings);

}  // namespace tools
