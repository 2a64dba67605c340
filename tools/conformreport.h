// The results of `quorvex conform` as text, as JSON and as JUnit XML.
#pragma once

#include <string>
#include <vector>

#include "inspection/conformance/conformance.h"

namespace tools {

// For a person: each line at most `width` columns, at least 30, and ended by LF. `colours` turns on
// ANSI colours.
std::string ConformText(const inspection::conformance::Result& result, bool colours,
                        std::size_t width);

// One JSON object, without a line end.
std::string ConformJson(const inspection::conformance::Result& result);

// The last line: how many of each outcome.
std::string ConformTotals(const std::vector<inspection::conformance::Result>& results);
std::string ConformTotalsJson(const std::vector<inspection::conformance::Result>& results);

// A document for CI systems. A check that can't tell is an error, one that was left out is skipped.
std::string ConformJUnit(const std::vector<inspection::conformance::Result>& results);

}  // namespace tools
