// Sends mails through the add-in: a window opens, the add-in starts watching the mail, the user
// presses Send, the agent answers, the window closes.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "simulation/host/simulatedhost.h"
#include "simulation/mail/mailmodel.h"
#include "tools/addin.h"
#include "tools/exchangelog.h"
#include "tools/mailoutcome.h"

namespace tools {

// The rule or fault that decided about one request; empty if none did.
struct DecidedRequest {
  std::string block;  // the name of the request's block
  std::string rule;
};

class MailRun {
 public:
  struct Options {
    std::string hostVersion;
    std::string ring;  // the agent's
    // Returns the decisions since the last call, for an agent that names its rules. Called after
    // each mail; `wasAsked` is false if no request of the mail reached the agent.
    std::function<std::vector<DecidedRequest>(bool wasAsked)> decisions = {};
    std::function<std::chrono::steady_clock::time_point()> now = &std::chrono::steady_clock::now;
  };

  // Creates the host and connects the add-in. Raises std::runtime_error if the add-in can't be
  // created or refuses to be connected.
  explicit MailRun(const Options& options);
  ~MailRun();

  MailRun(const MailRun&) = delete;
  MailRun& operator=(const MailRun&) = delete;

  // Sends the mail and returns what became of it. `mail` is its name in the outcome.
  MailOutcome Send(const std::string& mail, simulation::mail::MailModel model);

  // What the add-in has logged since the last call.
  std::string TakeLog() { return std::exchange(m_log, {}); }

 private:
  // The add-in knows a mail by its address for a few seconds, and a new mail at the same address
  // would inherit its verdict. So a closed mail is kept for as long.
  struct ClosedMail {
    simulation::host::HostMailItem* item;
    std::uint32_t sinceTick;
  };

  std::optional<MailTag> TagOf(const simulation::host::HostMailItem& item) const;
  std::vector<std::string> TakeLines();
  void AddRules(std::vector<SentRequest>& requests, const std::vector<Exchange>& exchanges) const;
  void ReleaseForgottenMails();

  const Options m_options;
  ExchangeLog m_exchanges;
  AddIn m_addIn;
  simulation::host::SimulatedHost m_host;
  std::deque<ClosedMail> m_closed;
  std::string m_log;
};

// What the add-in's log and requests say about a mail. `lines` is what it logged during Send,
// `attachments` what the mail has.
MailOutcome OutcomeOf(const std::vector<std::string>& lines, const std::vector<Exchange>& exchanges,
                      const std::vector<simulation::mail::MailAttachment>& attachments);

}  // namespace tools
