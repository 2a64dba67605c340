// What `quorvex send` shows a person: a table and a verdict for each mail, and a summary.
#pragma once

#include <cstddef>
#include <string>

#include "tools/mailoutcome.h"

namespace tools {

struct ReportStyle {
  bool colour = false;     // only ever on a terminal
  std::size_t width = 80;  // columns, at least 40
};

// The mail's table, one line a request (stage, what was asked, the answer, the wait), and its
// verdict line. Every line fits the width and ends in LF.
std::string MailReport(const MailOutcome& outcome, const ReportStyle& style);

// The progress bar in one line without a line end, with `done` of `all` mails behind it.
std::string ProgressLine(std::size_t done, std::size_t all, const ReportStyle& style);

// Counts what became of all mails.
class Summary {
 public:
  void Count(const MailOutcome& outcome);
  // One line, ended by LF.
  std::string Line() const;
  // 0 all let go, 1 some blocked, 2 some unreadable.
  int ExitStatus() const;
  // Mails that went out with no agent there.
  std::size_t Unchecked() const { return m_unchecked; }

 private:
  std::size_t m_sent = 0;
  std::size_t m_blocked = 0;
  std::size_t m_tagged = 0;
  std::size_t m_unreadable = 0;
  std::size_t m_unchecked = 0;
};

}  // namespace tools
