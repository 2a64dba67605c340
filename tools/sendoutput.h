// What `quorvex send` prints and writes.
#pragma once

#include <chrono>
#include <fstream>
#include <memory>
#include <string>

#include "tools/htmlpage.h"
#include "tools/mailcounter.h"
#include "tools/sendoptions.h"
#include "tools/sendreport.h"
#include "tools/sentmail.h"
#include "tools/system/stopsignal.h"

namespace tools {

// The colours and the width of standard output.
ReportStyle OutputStyle();

// Writes to standard output at once.
void Print(const std::string& text);

class SendOutput {
 public:
  // Ends the command with CommandError if a file can't be written.
  SendOutput(const SendOptions& options, const ReportStyle& style);

  // What Take needs of each mail.
  WantedTexts Wanted() const;
  void Take(const SentMail& mail);
  // Prints the summary and returns the command's exit status.
  int Finish(const tools::system::StopSignal& stop);

 private:
  // The progress on the last line of a terminal.
  void ShowProgress();
  void HideProgress();

  using Clock = std::chrono::steady_clock;

  const SendOptions& m_options;
  const ReportStyle m_style;
  std::ofstream m_log;
  MailsPage m_page;
  Summary m_summary;
  std::unique_ptr<MailCounter> m_counter;  // null without a terminal
  const Clock::time_point m_began = Clock::now();
  Clock::time_point m_shown{};
  bool m_isShown = false;
};

}  // namespace tools
