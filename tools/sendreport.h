// What `quorvex send` shows a person: a table and a verdict for each mail, and a summary.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>

#include "tools/mailoutcome.h"

namespace tools {

struct ReportStyle {
  bool colour = false;     // only ever on a terminal
  std::size_t width = 80;  // columns, at least 40
};

// The mail's table, one line a request (stage, what was asked, the answer, the wait), then what
// became of the mail, whether it was checked, and why not. Every line fits the width and ends in
// LF.
std::string MailReport(const MailOutcome& outcome, const ReportStyle& style);

// How far a run is.
struct Progress {
  std::size_t done = 0;
  std::optional<std::size_t> all;  // absent until the mails have been counted
  double seconds = 0;              // since the run's start
};

// A bar, the numbers, mails a second and the time left, as far as they are known and fit the width.
// One line without a line end.
std::string ProgressLine(const Progress& progress, const ReportStyle& style);

// Counts what became of all mails.
class Summary {
 public:
  void Count(inspection::comparison::Outcome outcome, inspection::checked::Checked checked);
  // The run ended before all mails were sent. `all` is their number, if it is known.
  void Interrupt(std::optional<std::size_t> all);

  // The number of mails so far.
  std::size_t All() const;
  // One line, ended by LF.
  std::string Line() const;
  // 130 interrupted, 2 some unreadable, 1 some blocked, 4 some not checked completely, 0 none of
  // these; the first that applies.
  int ExitStatus() const;

 private:
  std::size_t Of(inspection::comparison::Outcome outcome) const {
    return m_outcomes[static_cast<std::size_t>(outcome)];
  }
  std::size_t Of(inspection::checked::Checked checked) const {
    return m_checked[static_cast<std::size_t>(checked)];
  }

  std::array<std::size_t, inspection::comparison::kOutcomes> m_outcomes{};
  std::array<std::size_t, inspection::comparison::kCheckedLevels> m_checked{};
  bool m_isInterrupted = false;
  std::optional<std::size_t> m_interruptedOf;
};

}  // namespace tools
