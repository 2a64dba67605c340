#include "tools/mailroad.h"

#include <chrono>
#include <stdexcept>
#include <utility>

#include "platform/process.h"
#include "tools/agentprocess.h"

namespace tools {

namespace {

// How long the agent's journal may lag behind its last answer.
constexpr std::uint32_t kJournalMilliseconds = 1000;

}  // namespace

MailRoad::MailRoad(const std::string& hostVersion)
    : m_host(hostVersion), m_journal(simulation::agent::JournalPath()) {
  m_host.OpenExplorer();
  if (FAILED(m_host.Connect(m_addIn.Object()))) {
    throw std::runtime_error("the add-in refused to be connected");
  }
}

MailRoad::~MailRoad() {
  m_host.Disconnect();
  for (simulation::host::HostMailItem* const item : m_sent) item->Release();
}

MailOutcome MailRoad::Send(const std::string& mail, simulation::mail::MailModel model) {
  MailOutcome outcome;
  outcome.mail = mail;
  outcome.agentThere = IsAgentThere();

  simulation::host::HostInspector& window = m_host.OpenInspector(std::move(model));
  simulation::host::HostMailItem& item = *window.Mail();
  item.AddRef();
  m_sent.push_back(&item);

  const auto begin = std::chrono::steady_clock::now();
  const simulation::host::SendOutcome sent = m_host.Send(item);
  const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - begin;

  outcome.cancel = sent.cancel;
  outcome.milliseconds = took.count();
  outcome.tag = TagOf(item);
  if (outcome.agentThere) {
    outcome.requests =
        m_journal.TakeMail(platform::process.GetCurrentProcessId(), 0, kJournalMilliseconds);
  }
  outcome.action = m_addIn.VerdictOf(&item).value_or(ActionOf(outcome.requests));
  m_host.CloseInspector(window);
  return outcome;
}

std::optional<MailTag> MailRoad::TagOf(const simulation::host::HostMailItem& item) const {
  for (const simulation::host::HostNamedProperty& property : item.NamedProperties()) {
    return MailTag{property.name, property.value};
  }
  return std::nullopt;
}

}  // namespace tools
