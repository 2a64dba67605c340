#include "tools/sendloop.h"

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "platform/clock.h"
#include "platform/process.h"
#include "platform/scopedreplacement.h"
#include "simulation/agent/journal.h"
#include "simulation/mail/mailreader.h"
#include "tools/agentprocess.h"
#include "tools/agentrules.h"
#include "tools/localagent.h"
#include "tools/mailinputs.h"
#include "tools/mailrun.h"
#include "tools/runslot.h"

namespace tools {
namespace {

// How long the agent's journal may take to arrive after its last answer.
constexpr std::uint32_t kJournalMilliseconds = 1000;

// The agent that answers the mails.
class Answerer {
 public:
  Answerer(const SendOptions& options, const tools::system::StopSignal& stop) {
    m_runOptions.hostVersion = options.hostVersion;
    m_runOptions.ring = options.useRunningAgent ? options.ring : m_slot.RingName();
    if (options.fast) {
      m_local = std::make_unique<LocalAgent>(ReadRules(options.rules, false), m_runOptions.ring);
      m_runOptions.now = [this] { return m_local->Now(); };
      m_runOptions.decisions = [this](bool) { return m_local->TakeDecisions(); };
      return;
    }
    // After Ctrl-C nobody wants to wait for an agent: the add-in's waits end at once, and it cleans
    // up as after any time-out.
    m_hurry.emplace([&stop](auto original, std::uint32_t milliseconds) {
      if (!stop.Flag()) original(milliseconds);
    });
    if (options.useRunningAgent) return;
    const std::string journal = simulation::agent::JournalPath();
    m_process.Start(options.rules, m_runOptions.ring, journal);
    m_journal.emplace(journal);
    m_runOptions.decisions = [this](bool wasAsked) { return JournalDecisions(wasAsked); };
  }

  const MailRun::Options& RunOptions() const { return m_runOptions; }

 private:
  std::vector<DecidedRequest> JournalDecisions(bool wasAsked) {
    std::vector<DecidedRequest> decisions;
    for (simulation::agent::JournalRequest& line : m_journal->TakeMail(
             platform::process.GetCurrentProcessId(), 0, wasAsked ? kJournalMilliseconds : 0)) {
      decisions.push_back({std::move(line.block), std::move(line.because)});
    }
    return decisions;
  }

  const RunSlot m_slot;
  std::optional<platform::ScopedReplacement<platform::clock, &platform::ClockOperations::Sleep>>
      m_hurry;
  AgentProcess m_process;
  std::unique_ptr<LocalAgent> m_local;
  std::optional<simulation::agent::JournalReader> m_journal;
  MailRun::Options m_runOptions;
};

// The next mail that this job sends.
std::optional<simulation::mail::RawMail> NextOf(simulation::mail::MailSource& source,
                                                std::size_t skipped) {
  for (std::size_t i = 0; i < skipped; ++i) {
    if (!source.Skip()) return std::nullopt;
  }
  return source.Next();
}

// Frees the mail's bytes before it is sent: its text may be large.
simulation::mail::MailModel TakeModel(simulation::mail::RawMail& mail) {
  const std::string bytes = std::move(mail.bytes);
  return simulation::mail::ReadMail(bytes);
}

MailOutcome SendOne(MailRun& run, simulation::mail::RawMail& mail) {
  MailOutcome unreadable;
  unreadable.mail = mail.name;
  unreadable.error = mail.error;
  try {
    if (!mail.error) return run.Send(mail.name, TakeModel(mail));
  } catch (const std::exception& error) {
    unreadable.error = error.what();
  }
  return unreadable;
}

}  // namespace

void SendMails(const SendOptions& options, const JobPart& part, const WantedTexts& wanted,
               const ReportStyle& style, const tools::system::StopSignal& stop,
               const std::function<void(const SentMail&)>& take) {
  const auto source = OpenMails(options.mails, options.filesFrom);
  const Answerer answerer(options, stop);
  MailRun run(answerer.RunOptions());
  for (std::size_t skipped = part.index; !stop.Flag(); skipped = part.jobs - 1) {
    std::optional<simulation::mail::RawMail> mail = NextOf(*source, skipped);
    if (!mail) return;
    const MailOutcome outcome = SendOne(run, *mail);
    std::string log = run.TakeLog();
    if (stop.Flag()) return;
    take(SentMailOf(outcome, std::move(log), wanted, style));
  }
}

}  // namespace tools
