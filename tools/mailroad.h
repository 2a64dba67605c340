// Sends mails through the add-in: a window opens, the add-in starts watching the mail, the user
// presses Send, the agent answers, the window closes.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "simulation/agent/journal.h"
#include "simulation/host/simulatedhost.h"
#include "simulation/mail/mailmodel.h"
#include "tools/addin.h"
#include "tools/exchangelog.h"
#include "tools/mailoutcome.h"

namespace tools {

class MailRoad {
 public:
  struct Options {
    std::string hostVersion;
    std::string ring;       // the agent's
    bool hasRules = false;  // a simulated agent of our own keeps a journal that names the rules
  };

  // Creates the host and connects the add-in. Raises std::runtime_error if the add-in can't be
  // created or refuses to be connected.
  explicit MailRoad(const Options& options);
  ~MailRoad();

  MailRoad(const MailRoad&) = delete;
  MailRoad& operator=(const MailRoad&) = delete;

  // Sends the mail and returns what became of it. `mail` is its name in the outcome.
  MailOutcome Send(const std::string& mail, simulation::mail::MailModel model);

  // What the add-in has logged since the last call.
  std::string TakeLog() { return std::exchange(m_log, {}); }

 private:
  std::optional<MailTag> TagOf(const simulation::host::HostMailItem& item) const;
  std::vector<std::string> TakeLines();
  void AddRules(std::vector<SentRequest>& requests, const std::vector<Exchange>& exchanges);

  const Options m_options;
  ExchangeLog m_exchanges;
  AddIn m_addIn;
  simulation::host::SimulatedHost m_host;
  simulation::agent::JournalReader m_journal;
  // Closed mails are kept until the end: the add-in knows a mail by its address for five seconds,
  // and a new mail at the same address would inherit its verdict.
  std::vector<simulation::host::HostMailItem*> m_sent;
  std::string m_log;
};

// What the add-in's log and requests say about a mail. `lines` is what it logged during Send,
// `attachments` what the mail has.
MailOutcome OutcomeOf(const std::vector<std::string>& lines, const std::vector<Exchange>& exchanges,
                      const std::vector<simulation::mail::MailAttachment>& attachments);

}  // namespace tools
