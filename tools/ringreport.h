// What `quorvex ring` prints.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "inspection/ring/ringview.h"

namespace tools {

// The whole report for a person: at most 80 columns, each line ended by LF. `source` says which
// ring it is. Breaks findings at `width` columns, at least 30. Lists at most `mostEntries` entries,
// and how many there are beyond them.
std::string RingReportText(const std::string& source, const inspection::ring::Snapshot& now,
                           const std::vector<inspection::ring::Finding>& findings,
                           std::size_t width = 80, std::size_t mostEntries = 40);

// The same as one JSON object with all entries, without a line end.
std::string RingReportJson(const std::string& source, const inspection::ring::Snapshot& now,
                           const std::vector<inspection::ring::Finding>& findings);

}  // namespace tools
