// What `quorvex send` prints and counts of one mail.
#pragma once

#include <string>

#include "inspection/comparison/recordedmail.h"
#include "tools/mailoutcome.h"
#include "tools/sendreport.h"

namespace tools {

struct SentMail {
  inspection::comparison::Outcome outcome = inspection::comparison::Outcome::kUnknown;
  inspection::checked::Checked checked = inspection::checked::Checked::kUnknown;
  // Empty if WantedTexts leaves them out.
  std::string json;
  std::string report;
  std::string log;
  std::string complaint;  // for standard error: why the mail can't be read
};

// Which texts the command's options need.
struct WantedTexts {
  bool json = false;
  bool report = false;
  bool log = false;
  bool complaint = false;
};

// `log` is what the add-in logged about the mail.
SentMail SentMailOf(const MailOutcome& outcome, std::string log, const WantedTexts& wanted,
                    const ReportStyle& style);

}  // namespace tools
