// The envelope of a mail: its recipients and its sender.
#include "agent/outlookaddin/dlpmailevent_envelope.h"

#include <cstdint>
#include <string>
#include <utility>

#include "agent/outlookaddin/dlpmailevent.h"
#include "agent/outlookaddin/hostcalls.h"
#include "agent/outlookaddin/outlookversion.h"
#include "channel/agentchannel.h"
#include "logging/vrklogger.h"
#include "platform/com/bstr.h"
#include "platform/com/comerror.h"
#include "platform/com/comptr.h"
#include "text/textconversion.h"

using outlookaddin::PositionVariant;
using platform::Bstr;
using platform::ComPtr;

std::uintptr_t AddressEntrySet::Element::Identity() const {
  if (!identity) {
    std::uintptr_t number = 0;
    if (entry) {
      ComPtr<IUnknown> unknown;
      const HRESULT hr = platform::QueryFor(entry.Get(), IID_IUnknown, &unknown);
      if (FAILED(hr)) throw _com_error(hr);
      number = reinterpret_cast<std::uintptr_t>(unknown.Get());
    }
    identity = number;
  }
  return *identity;
}

bool AddressEntrySet::Add(ComPtr<AddressEntry> entry) {
  return m_elements.insert(Element{std::move(entry), std::nullopt}).second;
}

namespace {

// Visits `entry` unless it has been visited. The set takes over the reference, so the entry lives
// for as long as the walk over its members.
void VisitOnce(ComPtr<AddressEntry> entry, AddressEntrySet& seen, AddressList& addresses) {
  AddressEntry* const visited = entry.Get();
  if (seen.Add(std::move(entry))) {
    DlpMailEvent::CollectAddressEntry(visited, seen, addresses);
  } else {
    g_logger.Log(kLogModule, kLogInfo, "The entry has been processed! skip it");
  }
}

// A failure loses this one recipient; the others are still sent to the agent.
void CollectRecipient(Recipients* recipients, LONG position, AddressEntrySet& seen,
                      AddressList& addresses) {
  ComPtr<Recipient> recipient;
  HRESULT hr = recipients->Item(PositionVariant(position), recipient.Put());
  if (FAILED(hr) || !recipient) {
    g_logger.Log(kLogModule, kLogErr, "Get Item from recipients failed: 0x%X",
                 static_cast<unsigned>(hr));
    return;
  }
  ComPtr<AddressEntry> entry;
  hr = recipient->get_AddressEntry(entry.Put());
  if (FAILED(hr) || !entry) {
    g_logger.Log(kLogModule, kLogErr, "Get AddressEntry from recipient failed: 0x%X",
                 static_cast<unsigned>(hr));
    return;
  }
  VisitOnce(std::move(entry), seen, addresses);
}

// Every address followed by a NUL.
std::string JoinAddresses(const AddressList& addresses) {
  std::string joined;
  for (const std::string& address : addresses) joined += address + '\0';
  return joined;
}

// The members of a personal list, or null. A list without an id isn't opened; the id has no other
// use.
ComPtr<AddressEntries> OpenList(AddressEntry* list) {
  ComPtr<AddressEntries> members;
  Bstr id;
  HRESULT hr = list->get_ID(id.Put());
  if (FAILED(hr) || !id) {
    g_logger.Log(kLogModule, kLogErr, "Get AddressEntry ID failed: 0x%X",
                 static_cast<unsigned>(hr));
    return members;
  }
  hr = list->get_Members(members.Put());
  if (FAILED(hr) || !members) {
    g_logger.Log(kLogModule, kLogErr, "Get AddressEntry members failed: 0x%X",
                 static_cast<unsigned>(hr));
    members.Reset();
  }
  return members;
}

// The name of the user of a session or of an account.
template <typename Owner>
void ReadCurrentUserName(Owner* owner, Bstr* name) {
  ComPtr<Recipient> user;
  if (SUCCEEDED(owner->get_CurrentUser(user.Put())) && user) user->get_Name(name->Put());
}

// The name of the account that the user chose for this mail. Only three versions of Outlook are
// asked for it. The newest isn't one of them: there the session's user counts as the sender.
void ReadAccountName(_MailItem* item, Bstr* name) {
  const bool textOnly = g_outlookVersionCode == outlookaddin::kOutlook2007;
  const bool hasUser = g_outlookVersionCode == outlookaddin::kOutlook2010 ||
                       g_outlookVersionCode == outlookaddin::kOutlook2013;
  if (!textOnly && !hasUser) return;
  ComPtr<_Account> account;
  if (FAILED(item->get_SendUsingAccount(account.Put())) || !account) return;
  if (textOnly) {
    account->get_UserName(name->Put());
  } else {
    ReadCurrentUserName(account.Get(), name);
  }
}

void ReadSessionUserName(_MailItem* item, Bstr* name) {
  ComPtr<_NameSpace> session;
  if (SUCCEEDED(item->get_Session(session.Put())) && session) {
    ReadCurrentUserName(session.Get(), name);
  }
}

}  // namespace

ActionCode DlpMailEvent::CheckRecipients(_MailItem* item) {
  ComPtr<Recipients> recipients;
  HRESULT hr = item->get_Recipients(recipients.Put());
  if (FAILED(hr) || !recipients) {
    g_logger.Log(kLogModule, kLogErr, "Get recipients failed: 0x%X, and don't check recpients.",
                 static_cast<unsigned>(hr));
    return channel::kActionNothingUsable;
  }
  LONG count = -1;
  hr = recipients->get_Count(&count);
  if (FAILED(hr) || count < 1) {
    g_logger.Log(kLogModule, kLogErr,
                 "Get recipients counts failed: 0x%X, and don't check recpients.",
                 static_cast<unsigned>(hr));
    return channel::kActionNothingUsable;
  }

  // To, Cc and Bcc alike.
  AddressEntrySet seen;
  AddressList addresses;
  for (LONG position = 1; position <= count; ++position) {
    CollectRecipient(recipients.Get(), position, seen, addresses);
  }
  if (addresses.empty()) return channel::kActionNothingUsable;
  const std::string payload = JoinAddresses(addresses);
  return GetAgentChannel()->CheckContent(payload.data(), static_cast<std::uint32_t>(payload.size()),
                                         channel::kItemRecipients, nullptr);
}

void DlpMailEvent::CollectAddressEntry(AddressEntry* entry, AddressEntrySet& seen,
                                       AddressList& addresses) {
  {
    Bstr address;
    if (SUCCEEDED(entry->get_Address(address.Put())) && address) {
      // An entry with an address is one address, even if it is a list.
      std::string text = WideToUtf8(address.View());
      g_logger.Log(kLogModule, kLogInfo, "Get AddressEntry address: %s", text.c_str());
      addresses.push_back(std::move(text));
      return;
    }
  }
  LONG type = 0;
  const HRESULT hr = entry->get_DisplayType(&type);
  if (FAILED(hr)) {
    g_logger.Log(kLogModule, kLogErr, "Get DisplayType failed: 0x%X", static_cast<unsigned>(hr));
    return;
  }
  g_logger.Log(kLogModule, kLogInfo, "AddressEntry type %u.", static_cast<unsigned>(type));
  if (type != outlookaddin::olPrivateDistList) {
    g_logger.Log(kLogModule, kLogWarn, "Not support displayType, skip it.");
    return;
  }
  const ComPtr<AddressEntries> members = OpenList(entry);
  if (!members) return;
  // `seen` ends the recursion when lists contain each other. No HRESULT is checked: a null entry is
  // what ends the walk.
  ComPtr<AddressEntry> member;
  members->GetFirst(member.Put());
  while (member) {
    VisitOnce(ComPtr<AddressEntry>(member.Detach()), seen, addresses);
    members->GetNext(member.Put());
  }
}

ActionCode DlpMailEvent::CheckSender(_MailItem* item) {
  Bstr name;
  ReadAccountName(item, &name);
  if (!name) {
    g_logger.Log(kLogModule, kLogInfo,
                 "SendUsingAccount is empty, try to get session user instead.");
    ReadSessionUserName(item, &name);
  }
  if (!name) {
    g_logger.Log(kLogModule, kLogErr, "Cannot get sender name, and don't check sender.");
    return channel::kActionNothingUsable;
  }
  if (g_logger.IsModuleLogged(kLogModule)) {
    g_logger.Log(kLogModule, kLogInfo, "Sender: %s", WideToUtf8(name.View()).c_str());
  }
  return GetAgentChannel()->CheckContentWide(name.Get(), name.Length(), channel::kItemSender,
                                             nullptr);
}
