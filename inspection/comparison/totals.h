// Adds recorded results up.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>

#include "inspection/comparison/recordedmail.h"
#include "inspection/comparison/waits.h"

namespace inspection::comparison {

class Totals {
 public:
  void Take(const RecordedMail& mail);

  std::uint64_t Mails() const { return m_mails; }
  std::uint64_t Of(Outcome outcome) const { return m_outcomes[static_cast<std::size_t>(outcome)]; }
  // Of the mails that could be read.
  std::uint64_t Of(Checked checked) const { return m_checked[static_cast<std::size_t>(checked)]; }
  // A mail with several reasons counts in each.
  const std::map<std::string, std::uint64_t>& Reasons() const { return m_reasons; }
  // Blocked and tagged mails by the rule that decided, or where that is unknown the request.
  const std::map<std::string, std::uint64_t>& Decisions() const { return m_decisions; }
  const Waits& RequestWaits() const { return m_requestWaits; }
  const Waits& MailTimes() const { return m_mailTimes; }
  std::uint64_t Requests() const { return m_requests; }

  // One JSON object, without a line end.
  std::string Json() const;

 private:
  std::uint64_t m_mails = 0;
  std::array<std::uint64_t, kOutcomes> m_outcomes{};
  std::array<std::uint64_t, kCheckedLevels> m_checked{};
  std::map<std::string, std::uint64_t> m_reasons;
  std::map<std::string, std::uint64_t> m_decisions;
  std::uint64_t m_requests = 0;
  Waits m_requestWaits;
  Waits m_mailTimes;
};

// The deciding request in words: "body answered block, rule secret project"; empty if there is
// none.
std::string DecidedBy(const RecordedMail& mail);

}  // namespace inspection::comparison
