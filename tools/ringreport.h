// What `quorvex ring` prints.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "inspection/ring/ringview.h"

namespace tools {

// The whole report for a person, each line ended by LF. `source` says which ring it is. Lists at
// most `mostEntries` entries, in at most 80 columns, and how many there are beyond them. Findings
// are broken at `width` columns, at least 30.
std::string RingReportText(const std::string& source, const inspection::ring::Snapshot& now,
                           const std::vector<inspection::ring::Finding>& findings,
                           std::size_t width = 80, std::size_t mostEntries = 40);

// The same as one JSON object with all entries, without a line end.
std::string RingReportJson(const std::string& source, const inspection::ring::Snapshot& now,
                           const std::vector<inspection::ring::Finding>& findings);

}  // namespace tools
