#include "simulation/host/hostcalls.h"

#include <stdexcept>
#include <string>

namespace simulation::host {
namespace {

// Every call there is.
constexpr std::string_view kNames[] = {
    "_Application::QueryInterface(IUnknown)",
    "_Application::QueryInterface(IDispatch)",
    "_Application::QueryInterface(_Application)",
    "_Application::QueryInterface(other)",
    "_Application::get_Version",
    "_Application::get_Explorers",
    "_Application::get_Inspectors",
    "COMAddIn::QueryInterface(IUnknown)",
    "COMAddIn::QueryInterface(IDispatch)",
    "COMAddIn::QueryInterface(other)",
    "_Explorers::QueryInterface(IUnknown)",
    "_Explorers::QueryInterface(IDispatch)",
    "_Explorers::QueryInterface(_Explorers)",
    "_Explorers::QueryInterface(other)",
    "_Explorers::get_Count",
    "_Explorers::Item",
    "_Explorer::QueryInterface(IUnknown)",
    "_Explorer::QueryInterface(IDispatch)",
    "_Explorer::QueryInterface(_Explorer)",
    "_Explorer::QueryInterface(IConnectionPointContainer)",
    "_Explorer::QueryInterface(other)",
    "_Explorer::get_ActiveInlineResponse",
    "_Explorer::FindConnectionPoint",
    "_Inspectors::QueryInterface(IUnknown)",
    "_Inspectors::QueryInterface(IDispatch)",
    "_Inspectors::QueryInterface(_Inspectors)",
    "_Inspectors::QueryInterface(IConnectionPointContainer)",
    "_Inspectors::QueryInterface(other)",
    "_Inspectors::get_Count",
    "_Inspectors::Item",
    "_Inspectors::FindConnectionPoint",
    "_Inspector::QueryInterface(IUnknown)",
    "_Inspector::QueryInterface(IDispatch)",
    "_Inspector::QueryInterface(_Inspector)",
    "_Inspector::QueryInterface(IConnectionPointContainer)",
    "_Inspector::QueryInterface(other)",
    "_Inspector::get_CurrentItem",
    "_Inspector::get_Caption",
    "_Inspector::FindConnectionPoint",
    "IConnectionPoint::QueryInterface(IUnknown)",
    "IConnectionPoint::QueryInterface(IConnectionPoint)",
    "IConnectionPoint::QueryInterface(other)",
    "ExplorerEvents_10::Advise",
    "ExplorerEvents_10::Unadvise",
    "InspectorsEvents::Advise",
    "InspectorsEvents::Unadvise",
    "InspectorEvents::Advise",
    "InspectorEvents::Unadvise",
    "ItemEvents::Advise",
    "ItemEvents::Unadvise",
    "_MailItem::QueryInterface(IUnknown)",
    "_MailItem::QueryInterface(IDispatch)",
    "_MailItem::QueryInterface(_MailItem)",
    "_MailItem::QueryInterface(IConnectionPointContainer)",
    "_MailItem::QueryInterface(other)",
    "_MailItem::get_Session",
    "_MailItem::get_Attachments",
    "_MailItem::get_Body",
    "_MailItem::get_MAPIOBJECT",
    "_MailItem::get_Subject",
    "_MailItem::get_HTMLBody",
    "_MailItem::get_Recipients",
    "_MailItem::get_SendUsingAccount",
    "_MailItem::FindConnectionPoint",
    "OtherItem::QueryInterface(IUnknown)",
    "OtherItem::QueryInterface(IDispatch)",
    "OtherItem::QueryInterface(other)",
    "Recipients::QueryInterface(IUnknown)",
    "Recipients::QueryInterface(IDispatch)",
    "Recipients::QueryInterface(Recipients)",
    "Recipients::QueryInterface(other)",
    "Recipients::get_Count",
    "Recipients::Item",
    "Recipient::QueryInterface(IUnknown)",
    "Recipient::QueryInterface(IDispatch)",
    "Recipient::QueryInterface(Recipient)",
    "Recipient::QueryInterface(other)",
    "Recipient::get_AddressEntry",
    "Recipient::get_Name",
    "AddressEntry::QueryInterface(IUnknown)",
    "AddressEntry::QueryInterface(IDispatch)",
    "AddressEntry::QueryInterface(AddressEntry)",
    "AddressEntry::QueryInterface(other)",
    "AddressEntry::get_Address",
    "AddressEntry::get_DisplayType",
    "AddressEntry::get_ID",
    "AddressEntry::get_Members",
    "AddressEntries::QueryInterface(IUnknown)",
    "AddressEntries::QueryInterface(IDispatch)",
    "AddressEntries::QueryInterface(AddressEntries)",
    "AddressEntries::QueryInterface(other)",
    "AddressEntries::GetFirst",
    "AddressEntries::GetNext",
    "_Account::QueryInterface(IUnknown)",
    "_Account::QueryInterface(IDispatch)",
    "_Account::QueryInterface(_Account)",
    "_Account::QueryInterface(other)",
    "_Account::get_UserName",
    "_Account::get_CurrentUser",
    "_NameSpace::QueryInterface(IUnknown)",
    "_NameSpace::QueryInterface(IDispatch)",
    "_NameSpace::QueryInterface(_NameSpace)",
    "_NameSpace::QueryInterface(other)",
    "_NameSpace::get_CurrentUser",
    "Attachments::QueryInterface(IUnknown)",
    "Attachments::QueryInterface(IDispatch)",
    "Attachments::QueryInterface(Attachments)",
    "Attachments::QueryInterface(other)",
    "Attachments::get_Count",
    "Attachments::Item",
    "Attachment::QueryInterface(IUnknown)",
    "Attachment::QueryInterface(IDispatch)",
    "Attachment::QueryInterface(Attachment)",
    "Attachment::QueryInterface(other)",
    "Attachment::get_FileName",
    "Attachment::get_PathName",
    "Attachment::get_Type",
    "Attachment::SaveAsFile",
    "IMessage::QueryInterface(IUnknown)",
    "IMessage::QueryInterface(IMAPIProp)",
    "IMessage::QueryInterface(IMessage)",
    "IMessage::QueryInterface(other)",
    "IMessage::GetIDsFromNames",
    "IMessage::SetProps",
};

template <typename Map>
auto& At(Map& byName, std::string_view name) {
  const auto found = byName.find(name);
  if (found == byName.end()) {
    throw std::invalid_argument("the host has no call named " + std::string(name));
  }
  return *found;
}

std::optional<HostFault> Lookup(const std::map<std::uint64_t, HostFault>& faults,
                                std::uint64_t number) {
  const auto found = faults.find(number);
  if (found == faults.end()) return std::nullopt;
  return found->second;
}

}  // namespace

HostCalls::HostCalls() {
  for (const std::string_view name : kNames) m_byName.try_emplace(name);
}

void HostCalls::Restart() {
  m_total = 0;
  m_faultsGiven = 0;
  for (auto& [name, entry] : m_byName) entry.count = 0;
  m_journal.clear();
}

std::uint64_t HostCalls::Count(std::string_view name) const {
  return At(m_byName, name).second.count;
}

std::vector<std::pair<std::string_view, std::uint64_t>> HostCalls::Counts() const {
  std::vector<std::pair<std::string_view, std::uint64_t>> counts;
  for (const auto& [name, entry] : m_byName) {
    if (entry.count != 0) counts.emplace_back(name, entry.count);
  }
  return counts;
}

void HostCalls::FailCall(std::uint64_t number, HRESULT result, FaultOutput output) {
  m_byNumber[number] = {result, output};
}

void HostCalls::FailEach(std::string_view name, HRESULT result, FaultOutput output) {
  At(m_byName, name).second.each = {result, output};
}

void HostCalls::FailCallOf(std::string_view name, std::uint64_t nth, HRESULT result,
                           FaultOutput output) {
  At(m_byName, name).second.nth[nth] = {result, output};
}

void HostCalls::ClearFaults() {
  m_byNumber.clear();
  for (auto& [name, entry] : m_byName) {
    entry.each.reset();
    entry.nth.clear();
  }
}

// The most specific fault wins.
std::optional<HostFault> HostCalls::Enter(std::string_view name) {
  if (onEnter) onEnter(name);
  auto& [known, entry] = At(m_byName, name);
  ++m_total;
  ++entry.count;
  if (m_keepJournal) m_journal.push_back(known);
  std::optional<HostFault> fault = Lookup(m_byNumber, m_total);
  if (!fault) fault = Lookup(entry.nth, entry.count);
  if (!fault) fault = entry.each;
  if (fault) ++m_faultsGiven;
  return fault;
}

}  // namespace simulation::host
