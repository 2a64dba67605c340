// The whole road of one mail: a window opens, the add-in attaches its sink, the user presses Send,
// the agent answers, the window closes.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "simulation/agent/journal.h"
#include "simulation/host/simulatedhost.h"
#include "simulation/mail/mailmodel.h"
#include "tools/addin.h"
#include "tools/mailoutcome.h"

namespace tools {

class MailRoad {
 public:
  // Makes the host with that version text and connects the add-in. Raises std::runtime_error if
  // the add-in can't be had.
  explicit MailRoad(const std::string& hostVersion);
  ~MailRoad();

  MailRoad(const MailRoad&) = delete;
  MailRoad& operator=(const MailRoad&) = delete;

  // Sends the mail and tells what became of it. `mail` is shown as its path.
  MailOutcome Send(const std::string& mail, simulation::mail::MailModel model);

  AddIn& TheAddIn() { return m_addIn; }

 private:
  std::optional<MailTag> TagOf(const simulation::host::HostMailItem& item) const;

  AddIn m_addIn;
  simulation::host::SimulatedHost m_host;
  simulation::agent::JournalReader m_journal;
  // Closed mails are held to the end: the add-in knows a mail by its address for five seconds, and
  // a new mail in an old one's place would inherit its verdict.
  std::vector<simulation::host::HostMailItem*> m_sent;
};

}  // namespace tools
