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

// A progress bar with `done` and `all` in numbers after it, on one line without a line end.
std::string ProgressLine(std::size_t done, std::size_t all, const ReportStyle& style);

// Counts what became of all mails.
class Summary {
 public:
  void Count(const MailOutcome& outcome);
  // The run ended before all of `all` mails were sent.
  void Interrupt(std::size_t all) { m_interruptedOf = all; }

  // One line, ended by LF.
  std::string Line() const;
  // 130 interrupted, 2 some unreadable, 1 some blocked, 4 some not checked completely, 0 none of
  // these; the first that applies.
  int ExitStatus() const;

 private:
  std::size_t All() const { return m_sent + m_blocked + m_tagged + m_unreadable; }

  std::size_t m_sent = 0;
  std::size_t m_blocked = 0;
  std::size_t m_tagged = 0;
  std::size_t m_unreadable = 0;
  std::array<std::size_t, 4> m_checked{};  // by inspection::checked::Checked
  std::optional<std::size_t> m_interruptedOf;
};

}  // namespace tools
