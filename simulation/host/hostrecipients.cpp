#include "simulation/host/hostrecipients.h"

#include "simulation/host/hosttext.h"

namespace simulation::host {

HostRef<HostAddressEntry> HostAddressBook::Find(
    const std::shared_ptr<mail::MailAddressEntry>& entry) {
  if (entry == nullptr) return {};
  const auto make = [&] {
    return HostRef<HostAddressEntry>::Make(m_core, shared_from_this(), entry);
  };
  if (m_closed) return make();
  HostRef<HostAddressEntry>& known = m_entries[entry.get()];
  if (!known) known = make();
  return known;
}

void HostAddressBook::Close() {
  m_closed = true;
  m_entries.clear();
}

HostAddressEntry::HostAddressEntry(HostCorePointer core, HostAddressBookPointer book,
                                   std::shared_ptr<mail::MailAddressEntry> entry)
    : HostDispatch(std::move(core)),
      m_book(std::move(book)),
      m_entry(std::move(entry)),
      m_address(ToWide(m_entry->address)),
      m_id(ToWide(m_entry->id)) {}

HRESULT HostAddressEntry::get_Address(BSTR* address) {
  return Answer("AddressEntry::get_Address", address, [&] { return GiveText(m_address, address); });
}

HRESULT HostAddressEntry::get_DisplayType(LONG* type) {
  return Answer("AddressEntry::get_DisplayType", type, [&] {
    *type = static_cast<LONG>(m_entry->displayType);
    return S_OK;
  });
}

HRESULT HostAddressEntry::get_ID(BSTR* id) {
  return Answer("AddressEntry::get_ID", id, [&] { return GiveText(m_id, id); });
}

HRESULT HostAddressEntry::get_Members(AddressEntries** members) {
  return Answer("AddressEntry::get_Members", members, [&] {
    if (m_entry->displayType != outlookaddin::olPrivateDistList) return S_OK;
    return HostRef<HostAddressEntries>::Make(SharedCore(), m_book, m_entry, Label()).Give(members);
  });
}

std::string HostAddressEntry::Label() const {
  return "AddressEntry " + Quoted(m_entry->address.value_or(m_entry->id.value_or("")));
}

HostAddressEntries::HostAddressEntries(HostCorePointer core, HostAddressBookPointer book,
                                       std::shared_ptr<mail::MailAddressEntry> list,
                                       std::string owner)
    : HostDispatch(std::move(core)),
      m_book(std::move(book)),
      m_list(std::move(list)),
      m_owner(std::move(owner)) {}

HRESULT HostAddressEntries::GiveCurrent(AddressEntry** entry) const {
  if (m_position >= m_list->members.size()) return S_OK;
  return m_book->Find(m_list->members[m_position]).Give(entry);
}

HRESULT HostAddressEntries::GetFirst(AddressEntry** entry) {
  return Answer("AddressEntries::GetFirst", entry, [&] {
    m_position = 0;
    return GiveCurrent(entry);
  });
}

HRESULT HostAddressEntries::GetNext(AddressEntry** entry) {
  return Answer("AddressEntries::GetNext", entry, [&] {
    ++m_position;
    return GiveCurrent(entry);
  });
}

std::string HostAddressEntries::Label() const {
  return "AddressEntries of " + m_owner;
}

HostRecipient::HostRecipient(HostCorePointer core, HostAddressBookPointer book,
                             mail::MailRecipient recipient)
    : HostDispatch(std::move(core)),
      m_book(std::move(book)),
      m_recipient(std::move(recipient)),
      m_name(Utf8ToWide(m_recipient.name)) {}

HRESULT HostRecipient::get_AddressEntry(AddressEntry** entry) {
  return Answer("Recipient::get_AddressEntry", entry,
                [&] { return m_book->Find(m_recipient.entry).Give(entry); });
}

HRESULT HostRecipient::get_Name(BSTR* name) {
  return Answer("Recipient::get_Name", name, [&] { return GiveWideText(m_name, name); });
}

std::string HostRecipient::Label() const {
  return "Recipient " + Quoted(m_recipient.name);
}

HostRecipients::HostRecipients(HostCorePointer core, HostAddressBookPointer book,
                               std::shared_ptr<const mail::MailModel> mail, std::string owner)
    : HostDispatch(std::move(core)),
      m_book(std::move(book)),
      m_mail(std::move(mail)),
      m_owner(std::move(owner)),
      m_recipients(m_mail->recipients.size()) {}

HRESULT HostRecipients::get_Count(LONG* count) {
  return Answer("Recipients::get_Count", count, [&] {
    *count = static_cast<LONG>(m_recipients.size());
    return S_OK;
  });
}

HRESULT HostRecipients::Item(VARIANT index, Recipient** recipient) {
  return Answer("Recipients::Item", recipient, [&] {
    std::size_t place = 0;
    const HRESULT result = ReadIndex(index, m_recipients.size(), &place);
    if (FAILED(result)) return result;
    HostRef<HostRecipient>& known = m_recipients[place];
    if (!known) {
      known = HostRef<HostRecipient>::Make(SharedCore(), m_book, m_mail->recipients[place]);
    }
    return known.Give(recipient);
  });
}

std::string HostRecipients::Label() const {
  return "Recipients of " + m_owner;
}

}  // namespace simulation::host
