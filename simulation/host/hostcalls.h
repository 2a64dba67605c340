// The journal of the simulated host: every call that an add-in makes of the host passes through one
// HostCalls object, where it is numbered, counted under its name, and may be made to fail.
//
// A call's name is "Interface::Member" ("_MailItem::get_Subject"), for the identity queries
// "Interface::QueryInterface(Asked)", with "other" for an interface that the object hasn't got, and
// for subscriptions "ItemEvents::Advise". AddRef, Release and the host's own calls don't count.
//
// To make each call of a run fail in turn:
//
//   host.Calls().Restart();
//   run(host);
//   for (std::uint64_t number = 1; number <= callsOfACleanRun; ++number) {
//     SimulatedHost another;
//     another.Calls().FailCall(number, E_FAIL);
//     run(another);
//   }
//
// Like the host it belongs to one thread.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/com/comtypes.h"

namespace simulation::host {

// Every call that there is.
inline constexpr std::string_view kHostCallNames[] = {
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

inline constexpr std::size_t kHostCallCount = std::size(kHostCallNames);

// The place of a call's name in kHostCallNames. A name that isn't there doesn't compile.
struct HostCallId {
  // NOLINTNEXTLINE(google-explicit-constructor): a name stands for its id.
  consteval HostCallId(const char* name) : HostCallId(name, "", "", "") {}
  // The id of "<interface>::QueryInterface(<asked>)" and the like.
  constexpr HostCallId(std::string_view first, std::string_view second, std::string_view third,
                       std::string_view fourth)
      : index(Find({first, second, third, fourth})) {}

  std::uint16_t index;

 private:
  static constexpr std::uint16_t Find(std::array<std::string_view, 4> parts) {
    for (std::size_t at = 0; at < kHostCallCount; ++at) {
      std::string_view rest = kHostCallNames[at];
      bool same = true;
      for (const std::string_view part : parts) {
        same = same && rest.starts_with(part);
        if (same) rest.remove_prefix(part.size());
      }
      if (same && rest.empty()) return static_cast<std::uint16_t>(at);
    }
    throw "there is no such call";
  }
};

class HostCalls {
 public:
  // Forgets what was counted and noted; the next call is number 1. Faults stay.
  void Restart();

  // Calls since the beginning or the last Restart.
  std::uint64_t Total() const { return m_total; }
  // Calls of one name. Here and below a name that isn't in kHostCallNames raises
  // std::invalid_argument: a misspelt name must not look like a call that was never made.
  std::uint64_t Count(std::string_view name) const;
  // Every name that was called, with its count, in the order of kHostCallNames.
  std::vector<std::pair<std::string_view, std::uint64_t>> Counts() const;

  // The names of the calls in the order they were made: the first is number 1.
  std::vector<std::string_view> Journal() const;
  // Whether the order is noted (it is, unless switched off): 2 bytes a call.
  void KeepJournal(bool keep) { m_keepJournal = keep; }

  // Faults. A negative result fails the call: nothing is done and an interface or text given by
  // reference becomes null. S_OK makes it claim success with nothing in its hands: null, zero, no
  // file written, no sink connected. A positive result (a warning) lets the call do its work and
  // replaces its result.
  //
  // The call of that number. Numbers count from 1 and from the last Restart.
  void FailCall(std::uint64_t number, HRESULT result);
  // Every call of that name.
  void FailEach(std::string_view name, HRESULT result);
  // The nth call of that name, counted as Count counts.
  void FailCallOf(std::string_view name, std::uint64_t nth, HRESULT result);
  void ClearFaults();
  // How many calls were answered by a fault since the beginning or the last Restart. A test that
  // sets one and finds 0 here has tested nothing.
  std::uint64_t FaultsGiven() const { return m_faultsGiven; }

  // For the simulated host's objects: notes one call. Gives the fault that it is to be answered
  // with, if there is one.
  std::optional<HRESULT> Enter(HostCallId call) {
    ++m_total;
    ++m_counts[call.index];
    if (m_keepJournal) m_journal.push_back(call.index);
    if (!m_armed) return std::nullopt;
    return FindFault(call.index);
  }

 private:
  std::optional<HRESULT> FindFault(std::uint16_t index);

  std::uint64_t m_total = 0;
  std::uint64_t m_faultsGiven = 0;
  std::array<std::uint64_t, kHostCallCount> m_counts = {};
  std::vector<std::uint16_t> m_journal;
  bool m_keepJournal = true;
  bool m_armed = false;
  std::map<std::uint64_t, HRESULT> m_byNumber;
  std::map<std::uint16_t, HRESULT> m_byName;
  std::map<std::pair<std::uint16_t, std::uint64_t>, HRESULT> m_byNameAndNumber;
};

}  // namespace simulation::host
