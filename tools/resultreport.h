// What `quorvex summary` and `quorvex compare` print for a person.
#pragma once

#include <string>

#include "inspection/comparison/comparison.h"
#include "inspection/comparison/resultreader.h"
#include "inspection/comparison/totals.h"

namespace tools {

// The totals, in lines of at most 80 columns where no name or reason is longer.
std::string TotalsText(const inspection::comparison::Totals& totals);

// One mail that differs, in two or three lines: its name, what changed, and by what.
std::string DifferenceText(const inspection::comparison::Difference& difference);

// Outcomes before and after, waits, and a last line with the number of changes.
std::string ComparisonText(const inspection::comparison::Comparison& comparison);

// Prints the reader's bad lines on standard error: "quorvex COMMAND: FILE:LINE: why".
void PrintBadLines(const std::string& command, const inspection::comparison::ResultReader& reader);

}  // namespace tools
