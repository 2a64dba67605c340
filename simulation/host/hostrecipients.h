// A mail's recipients and their address entries.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "simulation/host/hostobject.h"
#include "simulation/mail/mailmodel.h"

namespace simulation::host {

class HostAddressEntry;

// The address entries of one mail: one object for each mail::MailAddressEntry, no matter how the
// add-in reached it, so its identity is stable while the mail is open.
class HostAddressBook : public std::enable_shared_from_this<HostAddressBook> {
 public:
  explicit HostAddressBook(HostCorePointer core) : m_core(std::move(core)) {}

  // Null for a null entry.
  HostRef<HostAddressEntry> Find(const std::shared_ptr<mail::MailAddressEntry>& entry);

  // The mail is being destroyed. From now on Find creates a new object each time.
  void Close();

 private:
  HostCorePointer m_core;
  std::map<const mail::MailAddressEntry*, HostRef<HostAddressEntry>> m_entries;
  bool m_closed = false;
};

using HostAddressBookPointer = std::shared_ptr<HostAddressBook>;

class HostAddressEntry final : public HostDispatch<HostAddressEntry, AddressEntry> {
 public:
  static constexpr std::string_view kHostClass = "AddressEntry";

  HostAddressEntry(HostCorePointer core, HostAddressBookPointer book,
                   std::shared_ptr<mail::MailAddressEntry> entry);

  HRESULT STDMETHODCALLTYPE get_Address(BSTR* address) override;
  HRESULT STDMETHODCALLTYPE get_DisplayType(LONG* type) override;
  HRESULT STDMETHODCALLTYPE get_ID(BSTR* id) override;
  // A new collection with its own position for each caller; null if the entry isn't a list.
  HRESULT STDMETHODCALLTYPE get_Members(AddressEntries** members) override;
  std::string Label() const override;

 private:
  HostAddressBookPointer m_book;
  std::shared_ptr<mail::MailAddressEntry> m_entry;
  std::optional<platform::WideString> m_address;
  std::optional<platform::WideString> m_id;
};

// Walks the members of a list. After the last one it returns null.
class HostAddressEntries final : public HostDispatch<HostAddressEntries, AddressEntries> {
 public:
  static constexpr std::string_view kHostClass = "AddressEntries";

  HostAddressEntries(HostCorePointer core, HostAddressBookPointer book,
                     std::shared_ptr<mail::MailAddressEntry> list, std::string owner);

  HRESULT STDMETHODCALLTYPE GetFirst(AddressEntry** entry) override;
  HRESULT STDMETHODCALLTYPE GetNext(AddressEntry** entry) override;
  std::string Label() const override;

 private:
  HRESULT GiveCurrent(AddressEntry** entry) const;

  HostAddressBookPointer m_book;
  std::shared_ptr<mail::MailAddressEntry> m_list;
  std::string m_owner;
  std::size_t m_position = 0;
};

// A recipient of a mail, or the user of a session or an account.
class HostRecipient final : public HostDispatch<HostRecipient, Recipient> {
 public:
  static constexpr std::string_view kHostClass = "Recipient";

  HostRecipient(HostCorePointer core, HostAddressBookPointer book, mail::MailRecipient recipient);

  HRESULT STDMETHODCALLTYPE get_AddressEntry(AddressEntry** entry) override;
  HRESULT STDMETHODCALLTYPE get_Name(BSTR* name) override;
  std::string Label() const override;

 private:
  HostAddressBookPointer m_book;
  mail::MailRecipient m_recipient;
  platform::WideString m_name;
};

class HostRecipients final : public HostDispatch<HostRecipients, Recipients> {
 public:
  static constexpr std::string_view kHostClass = "Recipients";

  // `owner` is the mail's label.
  HostRecipients(HostCorePointer core, HostAddressBookPointer book,
                 std::shared_ptr<const mail::MailModel> mail, std::string owner);

  HRESULT STDMETHODCALLTYPE get_Count(LONG* count) override;
  HRESULT STDMETHODCALLTYPE Item(VARIANT index, Recipient** recipient) override;
  std::string Label() const override;

 private:
  HostAddressBookPointer m_book;
  std::shared_ptr<const mail::MailModel> m_mail;
  std::string m_owner;
  std::vector<HostRef<HostRecipient>> m_recipients;  // created on first use
};

}  // namespace simulation::host
