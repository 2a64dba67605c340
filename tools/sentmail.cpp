#include "tools/sentmail.h"

#include <utility>

#include "tools/text.h"

namespace tools {

SentMail SentMailOf(const MailOutcome& outcome, std::string log, const WantedTexts& wanted,
                    const ReportStyle& style) {
  SentMail mail;
  mail.outcome = OutcomeOf(outcome);
  mail.checked = outcome.checked;
  if (wanted.json) mail.json = OutcomeJson(outcome);
  if (wanted.report) mail.report = MailReport(outcome, style);
  if (wanted.log) mail.log = std::move(log);
  if (wanted.complaint && outcome.error) {
    mail.complaint = Printable(outcome.mail) + ": " + Printable(*outcome.error);
  }
  return mail;
}

}  // namespace tools
